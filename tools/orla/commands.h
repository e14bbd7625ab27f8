#pragma once

#include <cstdint>
#include <functional>
#include <orla/ORLACl.h>
#include <string>
#include <vector>

namespace orla::cli {

enum class Command { kVersion, kName, kSend, kGet };

/* One command as the user gave it. */
struct Request {
  Command command = Command::kVersion;
  std::string url;

  // name and send: what the package is, as the server is told
  std::uint16_t type = 0;  // not 0: the library takes that for the version command
  std::vector<std::string> identities;

  std::string file;  // send: the package; get: where the download goes
  std::string name;  // send: an empty one leaves the naming to the server

  // get
  std::string target;
  std::string counter;    // an empty one is not sent
  std::int64_t size = 0;  // the size that the user expects, in bytes; 0 expects none
};

/* "version", "name", "send" or "get". */
const char* commandName(Command command);

/* What came of a command. */
struct Outcome {
  orla_status status = ORLA_OK;
  bool cancelled = false;   // a download that `interrupted` ended
  std::uint64_t bytes = 0;  // of the package that was sent, or of the file as far as it came
  double seconds = 0;       // that the library took
  std::string result;       // the version, the server's answer as it came, or the file
};

/* Told how many bytes of a download have come. */
using Progress = std::function<void(std::uint64_t bytes)>;

/*
 * Runs the command on a connection of its URL, on the calling thread. A download replaces its file
 * only when it is complete; Ctrl-C, where it is caught, cancels it: the rest of the reply is still
 * read, and dropped. Throws std::invalid_argument for a file that the system cannot name.
 */
Outcome perform(const Request& request, std::uint32_t handle, const Progress& progress);

}  // namespace orla::cli
