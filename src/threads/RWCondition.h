// A condition variable: one private semaphore for each waiting thread, woken first in, first out.
#pragma once

#include <cstdint>
#include <list>

#include "threads/RWMutexLock.h"
#include "threads/RWSemaphore.h"

namespace orla {

/// Bound to a mutex that outlives it and that the caller holds, once, around every call: the mutex
/// guards the list of waiters. A signal that finds no waiter is lost. Every failure raises
/// RWTHRInternalError, its text led by "RWCondition::wait - " and the like.
class RWCondition {
 public:
  /// Called before every wait, for a check of the calling thread. What it throws ends the wait and
  /// is reported as any other failure of it.
  using Hook = void (*)(RWCondition&);

  explicit RWCondition(RWMutexLock& mutex, Hook hook = nullptr) : hook_(hook), mutex_(&mutex) {}
  RWCondition(const RWCondition&) = delete;
  RWCondition& operator=(const RWCondition&) = delete;

  /// Lets go of the mutex, blocks until signalled and takes the mutex again.
  void wait();
  /// True when signalled, false when `milliseconds` passed first. A signal given before this thread
  /// has the mutex again still counts.
  bool wait(std::uint32_t milliseconds);
  /// Wakes the thread that has waited longest, if any.
  void signal();
  /// Wakes every thread that waits now.
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
