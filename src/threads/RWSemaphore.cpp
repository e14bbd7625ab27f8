#include "threads/RWSemaphore.h"

#include "platform/winapi.h"

#include <limits>

#include "threads/RWTHRErrors.h"

namespace orla {

RWSemaphore::RWSemaphore(std::int32_t count, Hook hook)
    : hook_(hook),
      handle_(CreateSemaphoreA(nullptr, count, std::numeric_limits<std::int32_t>::max(), nullptr)) {
  if (!handle_) raiseSystemError("RWSemaphore::RWSemaphore - ", "CreateSemaphore() - ");
}

RWSemaphore::~RWSemaphore() noexcept(false) {
  if (!CloseHandle(handle_) && !unwind_.isUnwinding())
    raiseSystemError("RWSemaphore::~RWSemaphore - ", "CloseHandle() - ");
}

void RWSemaphore::acquire() {
  acquireWithin(INFINITE, "RWSemaphore::acquire - ");
}

bool RWSemaphore::acquire(std::uint32_t milliseconds) {
  return acquireWithin(milliseconds, "RWSemaphore::acquire - ");
}

bool RWSemaphore::tryAcquire() {
  return acquireWithin(0, "RWSemaphore::tryAcquire - ");
}

bool RWSemaphore::acquireWithin(std::uint32_t milliseconds, const char* method) {
  if (hook_) hook_(*this);
  const DWORD result = WaitForSingleObject(handle_, milliseconds);
  if (result == WAIT_OBJECT_0) return true;
  // A wait without a timeout cannot time out.
  if (result == WAIT_TIMEOUT && milliseconds != INFINITE) return false;
  raiseSystemError(method, "WaitForSingleObject() - ");
}

void RWSemaphore::release() {
  if (!ReleaseSemaphore(handle_, 1, nullptr))
    raiseSystemError("RWSemaphore::release - ", "ReleaseSemaphore() - ");
}

}  // namespace orla
