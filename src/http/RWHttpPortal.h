// The body of a reply: exactly its bytes, for every framing.
//
// Chunked framing (RFC 9112, section 7.1), with the extensions after ";" ignored:
//
//   1a;ext=1 CR LF                           size in hexadecimal
//   <26 bytes> CR LF
//   0 CR LF                                  the last chunk
//   CR LF                                    not read here: reading the next status line skips it
#pragma once

#include <cstdint>

#include "net/RWPortal.h"

namespace orla {

class RWHttpReply;

/// Delivers the body of one reply from the connection's portal. It can only receive. If a receive
/// returns 0 bytes, the body has ended if isDone() is true; otherwise the connection ended before
/// the body did. One thread at a time uses it.
class RWHttpPortalImp : public RWPortalImp {
 public:
  enum Mode { kLengthDelimited = 0, kChunked = 1, kUntilClose = 2 };

  /// For a reply without a body. isDone() is true from the start.
  RWHttpPortalImp();
  /// `length` is used in length mode only. Even with a length of 0, isDone() is false until the
  /// first receive.
  RWHttpPortalImp(const RWPortal& portal, Mode mode, std::uint32_t length = 0);

  bool isDone() const noexcept { return done_; }

  using RWPortalImp::recv;
  using RWPortalImp::send;
  /// If `length` is 0 or less, the receive returns 0 and does not end a body in until-close mode.
  /// In chunked mode, throws RWHttpConnectionError "Server unexpectedly closed connection" if the
  /// connection ends in a chunk size line, and RWHttpReplyError if a chunk size is not a number or
  /// its line exceeds 1 MiB.
  int recv(char* buffer, int length, bool* more) override;
  RWCString recv() override;
  /// Throws RWNetNoChannelError, because a body cannot be written.
  int send(const char* buffer, int length) override;

 private:
  std::uint32_t readChunkSize();

  bool done_;
  RWPortal portal_;
  std::uint32_t remaining_ = 0;  // Bytes left in the chunk, or in the body in length mode.
  Mode mode_;
};

/// Creates the body of `reply`, the reply to a request with `method`, read from `portal`. It
/// follows RFC 9112, section 6.3, except that "Connection: close" takes precedence over
/// "Content-Length", because servers that send it end the body by closing the connection. Throws
/// RWHttpReplyError for a transfer coding other than "chunked" and "identity", and
/// RWHttpHeaderParseError for an invalid "Content-Length". The caller owns the body and may share
/// it with an RWPortal.
RWTHandle<RWHttpPortalImp> makeBodyPortal(const RWCString& method, const RWHttpReply& reply,
                                          const RWPortal& portal);

}  // namespace orla
