// The interface of every client that is measured.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace bench {

/// The server that a client talks to. The host is an IPv4 address.
struct Server {
  std::string host;
  std::uint16_t port = 0;
  std::string path;  // Starts with "/".

  std::string url(const std::string& target) const {
    return "http://" + host + ":" + std::to_string(port) + target;
  }
};

/// Runs the commands of one thread. Each command is one request on a separate TCP connection. A
/// failure, or a status other than 200, throws an exception. A client may keep any state between
/// commands.
class Client {
 public:
  Client() = default;
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  virtual ~Client() = default;

  /// Returns the reply's small body.
  virtual std::string get(const std::string& target) = 0;
  /// Writes the reply's body to the file at `path` while it is received.
  virtual void download(const std::string& target, const std::string& path) = 0;
  /// Reads the whole file at `path`, then sends it as the body of a POST. Returns the reply's small
  /// body.
  virtual std::string upload(const std::string& target, const std::string& path) = 0;
};

/// The targets of the commands, in the form in which the library sends them.
inline constexpr char kIdentity[] = "ws0042";
inline constexpr char kGetQuery[] =
    "?ORLACommand=CompileName&Type=7&Identity0=ws0042&Encoding=UTF-8";
inline constexpr char kUploadQuery[] = "?ORLACommand=UploadPackage&Type=7&Encoding=UTF-8";
inline constexpr std::uint32_t kType = 7;

/// Each client's source defines it.
std::unique_ptr<Client> makeClient(const Server& server);

}  // namespace bench
