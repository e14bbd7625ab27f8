// The base of an object whose members are guarded by one lock, and the scopes that hold or release
// the lock.
#pragma once

#include "foundation/ThreadAnnotations.h"
#include "foundation/UnwindDetector.h"

namespace orla {

template <class Lock>
class RWTMonitor {
 public:
  RWTMonitor() = default;
  RWTMonitor(const RWTMonitor&) = delete;
  RWTMonitor& operator=(const RWTMonitor&) = delete;

  /// Holds `lock` for a scope. If the release fails, the destructor throws, unless another
  /// exception is unwinding the scope.
  class ORLA_SCOPED_CAPABILITY LockGuard {
   public:
    explicit LockGuard(Lock& lock) ORLA_ACQUIRE(lock) : lock_(lock) { lock_.acquire(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;
    ~LockGuard() noexcept(false) ORLA_RELEASE() {
      try {
        lock_.release();
      } catch (...) {
        if (!unwind_.isUnwinding()) throw;
      }
    }

   private:
    Lock& lock_;
    const UnwindDetector unwind_;
  };

  /// Releases `lock`, which the thread holds once, for a scope, and acquires it again at the end,
  /// also if an exception unwinds the scope. If that acquire fails, the lock is not held, and the
  /// destructor throws, unless another exception is unwinding the scope.
  class ORLA_SCOPED_CAPABILITY UnlockGuard {
   public:
    explicit UnlockGuard(Lock& lock) ORLA_RELEASE(lock) : lock_(lock) { lock_.release(); }
    UnlockGuard(const UnlockGuard&) = delete;
    UnlockGuard& operator=(const UnlockGuard&) = delete;
    // Clang expects this annotation on every scope's destructor, also if it acquires.
    ~UnlockGuard() noexcept(false) ORLA_RELEASE() {
      try {
        lock_.acquire();
      } catch (...) {
        if (!unwind_.isUnwinding()) throw;
      }
    }

   private:
    Lock& lock_;
    const UnwindDetector unwind_;
  };

 protected:
  ~RWTMonitor() = default;

  mutable Lock mutex_;
};

}  // namespace orla
