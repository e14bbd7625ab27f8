// The errors of line-oriented protocols. Each message begins with its class name.
//
// Errors in what the peer sent are failures of the environment (RWExternalErr). Errors of a client
// that violates its own protocol are misuse (RWInternalErr). RWReplyError reports both, a lost
// reply as well as a query on an empty one, and is an RWExternalErr.
#pragma once

#include "foundation/RWxmsg.h"

namespace orla {

/// A reply was cut off, or does not have the requested value.
class RWReplyError : public RWExternalErr {
 public:
  explicit RWReplyError(const RWCString& text) : RWExternalErr("RWReplyError: " + text) {}
};

/// A line is not a reply line: "RWReplySyntaxError: reply was '<line>'".
class RWReplySyntaxError : public RWExternalErr {
 public:
  explicit RWReplySyntaxError(const RWCString& line)
      : RWExternalErr("RWReplySyntaxError: reply was '" + line + "'") {}
};

/// A protocol client was used in a way that the protocol does not allow. The library never throws
/// it.
class RWProtocolClientError : public RWInternalErr {
 public:
  explicit RWProtocolClientError(const RWCString& text)
      : RWInternalErr("RWProtocolClientError: " + text) {}
};

/// The protocol does not allow the command at this point. The library never throws it.
class RWProtocolClientCmdSequenceError : public RWInternalErr {
 public:
  explicit RWProtocolClientCmdSequenceError(const RWCString& text)
      : RWInternalErr("RWProtocolClientCmdSequenceError: " + text) {}
};

/// An agent of the protocol failed. The library never throws it.
class RWProtocolAgentError : public RWExternalErr {
 public:
  explicit RWProtocolAgentError(const RWCString& text)
      : RWExternalErr("RWProtocolAgentError: " + text) {}
};

}  // namespace orla
