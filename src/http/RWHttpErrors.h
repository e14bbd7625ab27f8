// The errors of the HTTP layer. Each message is the class name, ": " and the given text.
//
// After an RWHttpRequestError the connection is still usable. If another error is thrown while a
// request is written or a reply is read, the connection is unusable: disconnect or destroy it.
#pragma once

#include "foundation/RWxmsg.h"

namespace orla {

/// The connection is missing, lost, or ended in the middle of a chunked body.
class RWHttpConnectionError : public RWInternalErr {
 public:
  explicit RWHttpConnectionError(const RWCString& text)
      : RWInternalErr("RWHttpConnectionError: " + text) {}
};

/// A body handler did not read the whole body, or the body is shorter than its "Content-Length".
class RWHttpHandlerError : public RWInternalErr {
 public:
  explicit RWHttpHandlerError(const RWCString& text)
      : RWInternalErr("RWHttpHandlerError: " + text) {}
};

/// A header does not have the label or the value that its type requires.
class RWHttpHeaderParseError : public RWInternalErr {
 public:
  explicit RWHttpHeaderParseError(const RWCString& text)
      : RWInternalErr("RWHttpHeaderParseError: " + text) {}
};

/// For body classes that users define. The library never throws it.
class RWHttpInvalidBodyError : public RWExternalErr {
 public:
  explicit RWHttpInvalidBodyError(const RWCString& text)
      : RWExternalErr("RWHttpInvalidBodyError: " + text) {}
};

/// A reply was requested, but no request is pending.
class RWHttpNoPendingRepliesError : public RWInternalErr {
 public:
  RWHttpNoPendingRepliesError()
      : RWInternalErr("RWHttpNoPendingRepliesError: No replies expected from server") {}
};

/// For users that follow redirections. The library follows none and never throws it.
class RWHttpRecursiveRedirectError : public RWInternalErr {
 public:
  explicit RWHttpRecursiveRedirectError(const RWCString& text)
      : RWInternalErr("RWHttpRecursiveRedirectError: " + text) {}
};

/// A request cannot be sent in the requested way.
class RWHttpRequestError : public RWInternalErr {
 public:
  explicit RWHttpRequestError(const RWCString& text)
      : RWInternalErr("RWHttpRequestError: " + text) {}
};

/// A reply violates the protocol or exceeds the library's limits.
class RWHttpReplyError : public RWInternalErr {
 public:
  explicit RWHttpReplyError(const RWCString& text) : RWInternalErr("RWHttpReplyError: " + text) {}
};

}  // namespace orla
