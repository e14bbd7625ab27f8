// The body of a reply: exactly its bytes, whatever the framing.
//
// Chunked framing (RFC 9112, section 7.1), with the extensions after ";" ignored:
//
//   1a;ext=1 CR LF                           size in hexadecimal
//   <26 bytes> CR LF
//   0 CR LF                                  the last chunk; the trailer's end stays unread:
//   CR LF                                    the next status line skips it
#pragma once

#include <cstdint>

#include "net/RWPortal.h"

namespace orla {

class RWHttpReply;

/// Delivers the body of one reply from the connection's portal; receive only. 0 bytes mean the end
/// of the body when isDone(), otherwise that the connection ended before the body did. One thread
/// at a time uses it.
class RWHttpPortalImp : public RWPortalImp {
 public:
  enum Mode { kLengthDelimited = 0, kChunked = 1, kUntilClose = 2 };

  /// No body: done from the start.
  RWHttpPortalImp();
  /// `length` counts in length mode only. Even a length of 0 is done only after one receive.
  RWHttpPortalImp(const RWPortal& portal, Mode mode, std::uint32_t length = 0);

  bool isDone() const noexcept { return done_; }

  using RWPortalImp::recv;
  using RWPortalImp::send;
  /// A receive that asks for 0 bytes is no end of a body that lasts until the connection closes.
  /// Chunked framing raises RWHttpConnectionError "Server unexpectedly closed connection", and
  /// RWHttpReplyError for a chunk size that is no number or whose line exceeds 1 MiB.
  int recv(char* buffer, int length, bool* more) override;
  RWCString recv() override;
  /// Throws RWNetNoChannelError: a body cannot be written to.
  int send(const char* buffer, int length) override;

 private:
  std::uint32_t readChunkSize();

  bool done_;
  RWPortal portal_;
  std::uint32_t remaining_ = 0;  // Of the chunk, or of the body in length mode.
  Mode mode_;
};

/// The body of `reply`, the reply to a request of `method`, read from `portal`. RFC 9112, section
/// 6.3, but that "Connection: close" goes before "Content-Length": such servers end the body by
/// closing. RWHttpReplyError: a transfer coding other than "chunked" and "identity";
/// RWHttpHeaderParseError: a bad "Content-Length". The caller owns the body, for a portal to share.
RWTHandle<RWHttpPortalImp> makeBodyPortal(const RWCString& method, const RWHttpReply& reply,
                                          const RWPortal& portal);

}  // namespace orla
