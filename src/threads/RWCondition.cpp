#include "threads/RWCondition.h"

#include "threads/RWTHRErrors.h"
#include "threads/RWTMonitor.h"

namespace orla {

namespace {

using UnlockGuard = RWTMonitor<RWMutexLock>::UnlockGuard;

/// Calls `operation`. If it throws an error of the thread layer, throws an RWTHRInternalError whose
/// text is `method` and the text of that error. If it throws anything else, the text is `method`
/// and "Unexpected exception".
template <class Operation>
auto withMethodName(const char* method, Operation operation) {
  try {
    return operation();
  } catch (const RWTHRxmsg& error) {
    throw RWTHRInternalError(RWCString(method) + error.why());
  } catch (...) {
    throw RWTHRInternalError(RWCString(method) + "Unexpected exception");
  }
}

}  // namespace

/// The calling thread's entry in the list of waiters. It is created and destroyed while the mutex
/// is held. A signal removes it from the list. After a timeout or a failure, the destructor removes
/// it.
class RWCondition::Waiter {
 public:
  explicit Waiter(std::list<RWSemaphore*>& waiters) : waiters_(waiters) {
    waiters_.push_back(&semaphore);
  }
  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;
  ~Waiter() noexcept(false) { waiters_.remove(&semaphore); }

  RWSemaphore semaphore{0};

 private:
  std::list<RWSemaphore*>& waiters_;
};

void RWCondition::wait() {
  withMethodName("RWCondition::wait - ", [this]() ORLA_NO_ANALYSIS {
    if (hook_) hook_(*this);
    Waiter waiter(waiters_);
    UnlockGuard unlocked(*mutex_);
    waiter.semaphore.acquire();
  });
}

bool RWCondition::wait(std::uint32_t milliseconds) {
  return withMethodName("RWCondition::wait - ", [this, milliseconds]() ORLA_NO_ANALYSIS {
    if (hook_) hook_(*this);
    Waiter waiter(waiters_);
    bool signaled = false;
    {
      UnlockGuard unlocked(*mutex_);
      signaled = waiter.semaphore.acquire(milliseconds);
    }
    return signaled || waiter.semaphore.tryAcquire();
  });
}

void RWCondition::signal() {
  withMethodName("RWCondition::signal - ", [this] {
    if (!waiters_.empty()) releaseOldest();
  });
}

void RWCondition::signalAll() {
  withMethodName("RWCondition::signalAll - ", [this] {
    while (!waiters_.empty()) releaseOldest();
  });
}

void RWCondition::releaseOldest() {
  RWSemaphore* oldest = waiters_.front();
  waiters_.pop_front();
  oldest->release();
}

}  // namespace orla
