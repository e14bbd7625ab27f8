// The errors of line-oriented protocols. Each message begins with its class name.
//
// What the peer sent, or the text that names it, is the environment's failure (RWExternalErr); a
// client that breaks the rules of its own protocol is misuse (RWInternalErr). RWReplyError tells
// of both, a lost reply as well as a query on an empty one, and counts as the environment's.
#pragma once

#include "foundation/RWxmsg.h"

namespace orla {

/// A reply that was cut off, or asked for what it does not hold.
class RWReplyError : public RWExternalErr {
 public:
  explicit RWReplyError(const RWCString& text) : RWExternalErr("RWReplyError: " + text) {}
};

/// A line that is no reply line: "RWReplySyntaxError: reply was '<line>'".
class RWReplySyntaxError : public RWExternalErr {
 public:
  explicit RWReplySyntaxError(const RWCString& line)
      : RWExternalErr("RWReplySyntaxError: reply was '" + line + "'") {}
};

/// A protocol client used against its rules.
class RWProtocolClientError : public RWInternalErr {
 public:
  explicit RWProtocolClientError(const RWCString& text)
      : RWInternalErr("RWProtocolClientError: " + text) {}
};

/// A command that the protocol does not allow at this point.
class RWProtocolClientCmdSequenceError : public RWInternalErr {
 public:
  explicit RWProtocolClientCmdSequenceError(const RWCString& text)
      : RWInternalErr("RWProtocolClientCmdSequenceError: " + text) {}
};

/// An agent of the protocol that could not do its work.
class RWProtocolAgentError : public RWExternalErr {
 public:
  explicit RWProtocolAgentError(const RWCString& text)
      : RWExternalErr("RWProtocolAgentError: " + text) {}
};

}  // namespace orla
