#include "threads/RWMutexLock.h"

#include "platform/winapi.h"

#include "threads/RWTHRErrors.h"

namespace orla {

RWMutexLock::RWMutexLock(Hook hook) : hook_(hook) {
  init();
}

RWMutexLock::~RWMutexLock() noexcept(false) {
  if (!CloseHandle(handle_) && !unwind_.isUnwinding())
    raiseSystemError("RWMutexLock::~RWMutexLock - ", "CloseHandle() - ");
}

void RWMutexLock::init() {
  handle_ = CreateMutexA(nullptr, FALSE, nullptr);
  if (!handle_) raiseSystemError("RWMutexLock::init - ", "CreateMutex() - ");
  initialized_ = true;
}

void RWMutexLock::prepare() {
  if (hook_) hook_(*this);
  // A lock in static storage may be used before its constructor has run.
  if (!initialized_) init();
}

void RWMutexLock::acquire() {
  prepare();
  const DWORD result = WaitForSingleObject(handle_, INFINITE);
  if (result != WAIT_OBJECT_0 && result != WAIT_ABANDONED)
    raiseSystemError("RWMutexLock::acquire - ", "WaitForSingleObject() - ");
}

bool RWMutexLock::acquire(std::uint32_t milliseconds) {
  return acquireWithin(milliseconds, "RWMutexLock::acquire - ");
}

bool RWMutexLock::tryAcquire() {
  return acquireWithin(0, "RWMutexLock::tryAcquire - ");
}

bool RWMutexLock::acquireWithin(std::uint32_t milliseconds, const char* method) {
  prepare();
  const DWORD result = WaitForSingleObject(handle_, milliseconds);
  if (result == WAIT_OBJECT_0) return true;
  if (result == WAIT_TIMEOUT) return false;
  // Unlike acquire(), the forms with a timeout report that the owner died while it held the mutex.
  // The system has given the mutex to this thread anyway. Release it here, because a caller whose
  // acquire failed will not.
  if (result == WAIT_ABANDONED) ReleaseMutex(handle_);
  raiseSystemError(method, "WaitForSingleObject() - ");
}

void RWMutexLock::release() {
  if (!ReleaseMutex(handle_)) raiseSystemError("RWMutexLock::release - ", "ReleaseMutex() - ");
}

}  // namespace orla
