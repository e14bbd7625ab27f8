#include "threads/RWTHRErrors.h"

#include "platform/winapi.h"

namespace orla {

void raiseSystemError(const char* method, const char* call) {
  // Read before the text is built, which may change it; signed, as agents know the number.
  const int code = static_cast<int>(GetLastError());
  throw RWTHRInternalError(RWCString(method) + call + "Error Code: " + std::to_string(code));
}

}  // namespace orla
