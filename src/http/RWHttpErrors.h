// The errors of the HTTP layer. Each message is the class name, ": " and the text given.
//
// After any of them but RWHttpRequestError that was raised while a request was written or a reply
// read, the connection's byte stream is out of step: the connection is of no further use and is to
// be destroyed.
#pragma once

#include "foundation/RWxmsg.h"

namespace orla {

/// The connection is missing, lost, or ended in the middle of a chunked body.
class RWHttpConnectionError : public RWInternalErr {
 public:
  explicit RWHttpConnectionError(const RWCString& text)
      : RWInternalErr("RWHttpConnectionError: " + text) {}
};

/// A body handler left a part of the body unread, or the body ended before its announced length.
class RWHttpHandlerError : public RWInternalErr {
 public:
  explicit RWHttpHandlerError(const RWCString& text)
      : RWInternalErr("RWHttpHandlerError: " + text) {}
};

/// A header could not be read as the type that it stands for.
class RWHttpHeaderParseError : public RWInternalErr {
 public:
  explicit RWHttpHeaderParseError(const RWCString& text)
      : RWInternalErr("RWHttpHeaderParseError: " + text) {}
};

/// For body classes of the users' own; the library raises it nowhere.
class RWHttpInvalidBodyError : public RWExternalErr {
 public:
  explicit RWHttpInvalidBodyError(const RWCString& text)
      : RWExternalErr("RWHttpInvalidBodyError: " + text) {}
};

/// A reply was asked for, and every request has had its reply.
class RWHttpNoPendingRepliesError : public RWInternalErr {
 public:
  RWHttpNoPendingRepliesError()
      : RWInternalErr("RWHttpNoPendingRepliesError: No replies expected from server") {}
};

/// For users that follow redirections; the library follows none and raises it nowhere.
class RWHttpRecursiveRedirectError : public RWInternalErr {
 public:
  explicit RWHttpRecursiveRedirectError(const RWCString& text)
      : RWInternalErr("RWHttpRecursiveRedirectError: " + text) {}
};

/// A request that cannot be sent as asked.
class RWHttpRequestError : public RWInternalErr {
 public:
  explicit RWHttpRequestError(const RWCString& text)
      : RWInternalErr("RWHttpRequestError: " + text) {}
};

/// A reply that breaks the protocol or exceeds the library's limits.
class RWHttpReplyError : public RWInternalErr {
 public:
  explicit RWHttpReplyError(const RWCString& text) : RWInternalErr("RWHttpReplyError: " + text) {}
};

}  // namespace orla
