// A counting semaphore over the system's semaphore.
#pragma once

#include <cstdint>

#include "foundation/UnwindDetector.h"

namespace orla {

/// Any thread may use it. Every failed system call throws RWTHRInternalError.
class RWSemaphore {
 public:
  /// Called before every acquire, for example to check whether the thread was canceled. If it
  /// throws, acquire throws the same and nothing is acquired. The library itself sets no hook.
  using Hook = void (*)(RWSemaphore&);

  /// Starts at `count`, which must not be negative. The count never exceeds 2147483647.
  explicit RWSemaphore(std::int32_t count, Hook hook = nullptr);
  RWSemaphore(const RWSemaphore&) = delete;
  RWSemaphore& operator=(const RWSemaphore&) = delete;
  /// Throws if the system call fails, unless an exception is unwinding the stack.
  ~RWSemaphore() noexcept(false);

  /// Blocks without a timeout until the count is above 0, then decrements it.
  void acquire();
  /// Returns false if the count is still 0 after `milliseconds` (0xFFFFFFFF: no timeout).
  bool acquire(std::uint32_t milliseconds);
  /// The same as acquire(0).
  bool tryAcquire();
  /// Increments the count. Throws if the count is at its maximum.
  void release();

 private:
  friend struct ThreadsTestAccess;

  bool acquireWithin(std::uint32_t milliseconds, const char* method);

  Hook hook_;
  void* handle_;
  const UnwindDetector unwind_;
};

}  // namespace orla
