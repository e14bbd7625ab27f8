// The form that every client under measurement has.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace bench {

/// The server that a client talks to. The host is an IPv4 address.
struct Server {
  std::string host;
  std::uint16_t port = 0;
  std::string path;  // "/" first.

  std::string url(const std::string& target) const {
    return "http://" + host + ":" + std::to_string(port) + target;
  }
};

/// The commands of one thread. Each is one request on a TCP connection of its own; a failure, and a
/// status other than 200, throws. What a client keeps from command to command is its own choice.
class Client {
 public:
  Client() = default;
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  virtual ~Client() = default;

  /// The reply's small body.
  virtual std::string get(const std::string& target) = 0;
  /// The reply's body goes into the file at `path`, as it comes.
  virtual void download(const std::string& target, const std::string& path) = 0;
  /// The file at `path` is read whole, then sent as the body of a POST. The reply's small body.
  virtual std::string upload(const std::string& target, const std::string& path) = 0;
};

/// The targets of the two commands with a fixed one: as the library makes them.
inline constexpr char kIdentity[] = "ws0042";
inline constexpr char kGetQuery[] =
    "?ORLACommand=CompileName&Type=7&Identity0=ws0042&Encoding=UTF-8";
inline constexpr char kUploadQuery[] = "?ORLACommand=UploadPackage&Type=7&Encoding=UTF-8";
inline constexpr std::uint32_t kType = 7;

/// Defined once in each client's own source.
std::unique_ptr<Client> makeClient(const Server& server);

}  // namespace bench
