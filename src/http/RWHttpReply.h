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

/// Reads the lines of reply heads and takes no byte after a line from the portal.
///
/// LF and CR LF end a line and are no part of it; a CR before any other byte stays in the line with
/// that byte. All that one reader reads is limited, so that no server can make an agent eat its
/// memory, or read for ever, in a head: interim replies count.
class RWHttpLineReader {
 public:
  /// 1 MiB.
  static constexpr std::size_t kMaxBytes = std::size_t{1} << 20;

  explicit RWHttpLineReader(const RWPortal& portal);

  /// The next line, good until the next call. RWReplyError "Connection closed by server";
  /// RWHttpReplyError "Reply header too large".
  const RWCString& readLine();

 private:
  RWPortal portal_;
  std::size_t bytes_ = 0;
  RWCString line_;
};

/// A numeric reply with an HTTP version and headers. The body is not part of it. A value.
class RWHttpReply : public RWNumReply {
 public:
  /// Empty: getStatusCode() and the class tests throw RWReplyError.
  RWHttpReply() = default;
  /// Reads one reply. The final reply to a request is read with the same `lines` as the interim
  /// ones before it, which thereby share its limit. RWReplySyntaxError for a status line without a
  /// version or a code; what `lines` raises.
  explicit RWHttpReply(RWHttpLineReader& lines);

  int getMajorVersion() const noexcept { return majorVersion_; }
  int getMinorVersion() const noexcept { return minorVersion_; }
  const RWHttpHeaderList& headers() const noexcept { return headers_; }
  /// Empty when there is no such header.
  RWCString getHeaderValue(const RWCString& label) const;

  /// The head as text; empty for an empty reply.
  RWCString asString() const override;

 private:
  /// Takes the version off the line and gives the rest.
  RWCString takeVersion(RWCString line);

  int majorVersion_ = 0;
  int minorVersion_ = 0;
  RWHttpHeaderList headers_;
};

}  // namespace orla
