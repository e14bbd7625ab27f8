#include "threads/RWTHRErrors.h"

#include "platform/winapi.h"

namespace orla {

void raiseSystemError(const char* method, const char* call) {
  // Read it before the text is built, which may change it. Signed, because agents know the number
  // in that form.
  const int code = static_cast<int>(GetLastError());
  throw RWTHRInternalError(RWCString(method) + call + "Error Code: " + std::to_string(code));
}

}  // namespace orla
