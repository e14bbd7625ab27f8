// A mutual exclusion lock over the system's mutex.
#pragma once

#include <cstdint>

#include "foundation/ThreadAnnotations.h"
#include "foundation/UnwindDetector.h"

namespace orla {

/// Recursive: the thread that owns the mutex may acquire it again, and must release it as often.
/// Every failed system call throws RWTHRInternalError.
class ORLA_CAPABILITY("mutex") RWMutexLock {
 public:
  /// Called before every acquire, for example to check whether the thread was canceled. If it
  /// throws, acquire throws the same and nothing is acquired. The library itself sets no hook.
  using Hook = void (*)(RWMutexLock&);

  explicit RWMutexLock(Hook hook = nullptr);
  RWMutexLock(const RWMutexLock&) = delete;
  RWMutexLock& operator=(const RWMutexLock&) = delete;
  /// Throws if the system call fails, unless an exception is unwinding the stack.
  ~RWMutexLock() noexcept(false);

  /// Blocks without a timeout. Succeeds if the owner ended without releasing the mutex.
  void acquire() ORLA_ACQUIRE();
  /// Returns false if another thread still owns the mutex after `milliseconds` (0xFFFFFFFF: no
  /// timeout). Throws if the owner ended without releasing the mutex, which is then free again.
  bool acquire(std::uint32_t milliseconds) ORLA_TRY_ACQUIRE(true);
  /// The same as acquire(0).
  bool tryAcquire() ORLA_TRY_ACQUIRE(true);
  /// Throws if the calling thread does not own the mutex.
  void release() ORLA_RELEASE();

 private:
  friend struct ThreadsTestAccess;

  void init();
  void prepare();
  bool acquireWithin(std::uint32_t milliseconds, const char* method);

  Hook hook_;
  void* handle_ = nullptr;
  bool initialized_ = false;
  const UnwindDetector unwind_;
};

}  // namespace orla
