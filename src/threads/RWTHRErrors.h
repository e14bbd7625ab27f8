// The errors of the thread layer. Their texts do not begin with the class name.
#pragma once

#include "foundation/RWxmsg.h"

namespace orla {

class RWTHRxmsg : public RWxmsg {
 public:
  using RWxmsg::RWxmsg;
};

/// A system call failed. The text names the method, the call and the system's error code:
/// "RWMutexLock::acquire - WaitForSingleObject() - Error Code: 6".
class RWTHRInternalError : public RWTHRxmsg {
 public:
  using RWTHRxmsg::RWTHRxmsg;
};

/// The buffer was closed.
class RWTHRClosedException : public RWTHRxmsg {
 public:
  using RWTHRxmsg::RWTHRxmsg;
};

/// A handle that holds no body was used.
class RWTHRInvalidPointer : public RWTHRxmsg {
 public:
  RWTHRInvalidPointer() : RWTHRxmsg("Invalid pointer") {}
};

/// Throws an RWTHRInternalError for a system call that has just failed. Its text is `method`,
/// `call`, "Error Code: " and the calling thread's last error in decimal.
[[noreturn]] void raiseSystemError(const char* method, const char* call);

}  // namespace orla
