#pragma once

#include <cstddef>
#include <httplib.h>

namespace orla::devserver {

/// The server of the HTTP library, extended by a limit on the size of a request's head. Without the
/// limit the library would read header lines of any size into memory. Each connection carries one
/// request.
class HttpServer : public httplib::Server {
 public:
  /// The maximum size of a request's head, from the request line to the empty line, in bytes. The
  /// heads of agents are much smaller. The same limit applies to each line between the chunks of a
  /// body.
  static constexpr std::size_t kMaxHeadSize = 64 * 1024;

  /// Returns true if the head of the request that the calling thread serves was larger than
  /// kMaxHeadSize. The request then has only the header lines before the limit, and the last of
  /// them may be incomplete.
  static bool isHeadCut();

 private:
  bool process_and_close_socket(socket_t socket) override;
};

}  // namespace orla::devserver
