#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orla {

/*
 * The four commands. Each makes its request, prints its result on the standard output and throws
 * CommandFailure when the server, the network or a local file said no.
 */

/* What a package is, as the server is told. */
struct PackageKind {
  std::uint16_t type = 0;  // not 0: the library takes that for the version command
  std::vector<std::string> identities;
};

/* Prints the server's version as "major.minor". */
void print_version(const std::string& url);

/* Prints the name under which the server stores such a package. */
void print_name(const std::string& url, const PackageKind& kind);

/* Uploads the file and prints the server's answer. An empty name leaves the naming to the server.*/
void send_package(const std::string& url, const std::string& file, const PackageKind& kind,
                  const std::string& name);

/*
 * Downloads to the file, with progress on the standard error stream, and prints the file's name and
 * size. The file is replaced only when the download is complete. The first Ctrl-C cancels: the rest
 * of the reply is still read, and dropped; a second one ends the program at once. An empty counter
 * is not sent.
 */
void get_file(const std::string& url, const std::string& target, const std::string& file,
              const std::string& counter);

}  // namespace orla
