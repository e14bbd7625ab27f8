#pragma once

#include <cstddef>
#include <httplib.h>

namespace orla::devserver {

/// The server of the HTTP library, which would hold header lines of any size in memory, with a
/// limit on them. Each connection carries one request.
class HttpServer : public httplib::Server {
 public:
  /// Bytes of a request's head, from the request line to the empty line. Many times what an agent
  /// sends. Also the limit on the line before a chunk of a body.
  static constexpr std::size_t kMaxHeadSize = 64 * 1024;

  /// Returns true if the head of the request that the calling thread serves was larger. The request
  /// then has only the header lines before the limit, and the last of them may be incomplete.
  static bool isHeadCut();

 private:
  bool process_and_close_socket(socket_t socket) override;
};

}  // namespace orla::devserver
