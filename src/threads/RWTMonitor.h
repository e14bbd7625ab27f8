// The base of an object whose members are guarded by one lock, and the scopes that hold it.
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

  /// Holds `lock` for a scope. What the release raises leaves the scope, unless another exception
  /// is already leaving it.
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

  /// Lets go of `lock`, which the thread holds once, for a scope, and takes it again at the end,
  /// also when an exception leaves the scope. What taking it raises leaves the scope, unless
  /// another exception is already leaving it: the lock is then not held.
  class ORLA_SCOPED_CAPABILITY UnlockGuard {
   public:
    explicit UnlockGuard(Lock& lock) ORLA_RELEASE(lock) : lock_(lock) { lock_.release(); }
    UnlockGuard(const UnlockGuard&) = delete;
    UnlockGuard& operator=(const UnlockGuard&) = delete;
    ~UnlockGuard() noexcept(false) ORLA_RELEASE() {  // So says the checker: the scope is undone.
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
