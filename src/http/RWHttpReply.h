// HTTP replies: the status line and the header block, read from a portal.
//
//   HTTP/1.1 404 Not Found CR LF             empty lines before it are skipped
//   Content-Length: 5 CR LF
//   CR LF                                    the body follows; RWHttpPortalImp reads it
#pragma once

#include <cstddef>

#include "http/RWHttpHeader.h"
#include "http/RWNumReply.h"
#include "net/RWPortal.h"

namespace orla {

/// Reads the lines of reply heads, and receives no byte after a line from the portal.
///
/// LF and CR LF end a line and are not part of it. A CR before any other byte stays in the line
/// together with that byte. One reader reads at most kMaxBytes, interim replies included, so that
/// no server can exhaust an agent's memory or keep it reading a head forever.
class RWHttpLineReader {
 public:
  /// 1 MiB.
  static constexpr std::size_t kMaxBytes = std::size_t{1} << 20;

  explicit RWHttpLineReader(const RWPortal& portal);

  /// Returns the next line, which is valid until the next call. Throws RWReplyError "Connection
  /// closed by server" if the connection ends first, and RWHttpReplyError "Reply header too large"
  /// if there are more than kMaxBytes.
  const RWCString& readLine();

 private:
  RWPortal portal_;
  std::size_t bytes_ = 0;
  RWCString line_;
};

/// A numeric reply with an HTTP version and headers, but without the body. It is a plain value.
class RWHttpReply : public RWNumReply {
 public:
  /// An empty reply: getStatusCode() and is1XX() to is5XX() throw RWReplyError.
  RWHttpReply() = default;
  /// Reads one reply. Read the final reply to a request with the same `lines` as its interim
  /// replies, so that they share the limit. Throws RWReplySyntaxError if the status line has no
  /// version or no code, and what `lines` throws.
  explicit RWHttpReply(RWHttpLineReader& lines);

  int getMajorVersion() const noexcept { return majorVersion_; }
  int getMinorVersion() const noexcept { return minorVersion_; }
  const RWHttpHeaderList& headers() const noexcept { return headers_; }
  /// Returns an empty text if there is no such header.
  RWCString getHeaderValue(const RWCString& label) const;

  /// Returns the head as text, or an empty text for an empty reply.
  RWCString asString() const override;

 private:
  /// Stores the version and returns the line without it.
  RWCString takeVersion(RWCString line);

  int majorVersion_ = 0;
  int minorVersion_ = 0;
  RWHttpHeaderList headers_;
};

}  // namespace orla
