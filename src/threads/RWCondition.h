// A condition variable: one private semaphore for each waiting thread. Threads wake in the order in
// which they began to wait.
#pragma once

#include <cstdint>
#include <list>

#include "threads/RWMutexLock.h"
#include "threads/RWSemaphore.h"

namespace orla {

/// A condition is bound to a mutex, which must outlive it. The caller must hold the mutex exactly
/// once when it calls any function, because the mutex guards the list of waiters. A signal is lost
/// if no thread waits. Every failure throws RWTHRInternalError, whose text begins with the name of
/// the function, for example "RWCondition::wait - ".
class RWCondition {
 public:
  /// Called before every wait, for example to check whether the thread was canceled. If it throws,
  /// the wait ends and reports that like any other failure. The library itself sets no hook.
  using Hook = void (*)(RWCondition&);

  explicit RWCondition(RWMutexLock& mutex, Hook hook = nullptr) : hook_(hook), mutex_(&mutex) {}
  RWCondition(const RWCondition&) = delete;
  RWCondition& operator=(const RWCondition&) = delete;

  /// Releases the mutex, blocks until the thread is signaled, and acquires the mutex again.
  void wait();
  /// The same with a timeout. Returns true if the thread was signaled, false if `milliseconds`
  /// passed first. A signal that another thread gives after the timeout still counts if it comes
  /// before this thread has acquired the mutex again.
  bool wait(std::uint32_t milliseconds);
  /// Wakes the thread that has waited longest, if a thread waits.
  void signal();
  /// Wakes every thread that is waiting.
  void signalAll();

 private:
  friend struct ThreadsTestAccess;

  class Waiter;
  void releaseOldest();

  Hook hook_;
  std::list<RWSemaphore*> waiters_;  // Oldest first; each is owned by its waiting thread.
  RWMutexLock* mutex_;
};

}  // namespace orla
