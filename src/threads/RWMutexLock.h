// A mutual exclusion lock over the system's mutex.
#pragma once

#include <cstdint>

#include "foundation/ThreadAnnotations.h"
#include "foundation/UnwindDetector.h"

namespace orla {

/// Owned by a thread, which may acquire it again and must release it as often. Every failure of the
/// system raises RWTHRInternalError.
class ORLA_CAPABILITY("mutex") RWMutexLock {
 public:
  /// Called before every acquire, for a check of the calling thread; what it throws leaves the
  /// acquire, with nothing acquired.
  using Hook = void (*)(RWMutexLock&);

  explicit RWMutexLock(Hook hook = nullptr);
  RWMutexLock(const RWMutexLock&) = delete;
  RWMutexLock& operator=(const RWMutexLock&) = delete;
  /// Raises what the system reports, unless an exception is unwinding the stack.
  ~RWMutexLock() noexcept(false);

  /// Blocks without limit. Takes over a mutex whose owner ended without releasing it.
  void acquire() ORLA_ACQUIRE();
  /// False when the mutex is still taken after `milliseconds` (0xFFFFFFFF: no limit). Raises when
  /// the owner ended without releasing it; the mutex is then free again.
  bool acquire(std::uint32_t milliseconds) ORLA_TRY_ACQUIRE(true);
  /// acquire(0).
  bool tryAcquire() ORLA_TRY_ACQUIRE(true);
  /// Raises when the calling thread does not own the mutex.
  void release() ORLA_RELEASE();

 private:
  friend struct ThreadsTestAccess;

  void init();
  void prepare();
  bool acquireWithin(std::uint32_t milliseconds, const char* method);

  Hook hook_;
  void* handle_ = nullptr;
  bool initialised_ = false;
  const UnwindDetector unwind_;
};

}  // namespace orla
