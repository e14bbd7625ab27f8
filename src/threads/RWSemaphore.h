// A counting semaphore over the system's semaphore.
#pragma once

#include <cstdint>

#include "foundation/UnwindDetector.h"

namespace orla {

/// Safe from any thread. Every failure of the system raises RWTHRInternalError.
class RWSemaphore {
 public:
  /// Called before every acquire, for a check of the calling thread; what it throws leaves the
  /// acquire, with nothing acquired.
  using Hook = void (*)(RWSemaphore&);

  /// Starts at `count`, which must not be negative; the count never exceeds 2147483647.
  explicit RWSemaphore(std::int32_t count, Hook hook = nullptr);
  RWSemaphore(const RWSemaphore&) = delete;
  RWSemaphore& operator=(const RWSemaphore&) = delete;
  /// Raises what the system reports, unless an exception is unwinding the stack.
  ~RWSemaphore() noexcept(false);

  /// Blocks without limit until the count is above 0, and lowers it.
  void acquire();
  /// False when the count is still 0 after `milliseconds` (0xFFFFFFFF: no limit).
  bool acquire(std::uint32_t milliseconds);
  /// acquire(0).
  bool tryAcquire();
  void release();

 private:
  friend struct ThreadsTestAccess;

  bool acquireWithin(std::uint32_t milliseconds, const char* method);

  Hook hook_;
  void* handle_;
  const UnwindDetector unwind_;
};

}  // namespace orla
