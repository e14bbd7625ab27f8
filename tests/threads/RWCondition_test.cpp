#include "threads/RWCondition.h"

#include "ThreadsTestAccess.h"

namespace orla {
namespace {

TEST(RWCondition, WakesTheThreadsInTheOrderOfTheirWaits) {
  RWMutexLock lock;
  RWCondition condition(lock);
  const auto locked = [&](void (RWCondition::*operation)()) {
    const LockGuard guard(lock);
    (condition.*operation)();
  };
  std::future<void> threads[4];
  for (std::size_t i = 0; i < 4; ++i) {
    threads[i] = inBackground([&] { locked(&RWCondition::wait); });
    awaitWaiters(lock, condition, i + 1);
  }
  for (std::size_t i = 0; i < 2; ++i) {
    locked(&RWCondition::signal);
    threads[i].get();
  }
  locked(&RWCondition::signalAll);
}

TEST(RWCondition, LocksAndScopesDropTheirFailuresDuringUnwinding) {
  const auto failWhileUnwinding = [] {
    RWMutexLock lock;
    RWSemaphore semaphore(0);
    LockGuard guard(lock);
    RWTMonitor<RWMutexLock>::UnlockGuard unlocked(lock);
    CloseHandle(std::exchange(Access::handle(lock), nullptr));
    CloseHandle(std::exchange(Access::handle(semaphore), nullptr));
    throw RWTHRClosedException("first");
  };
  EXPECT_EQ(textOf<RWTHRClosedException>(failWhileUnwinding), "first");
}

// Runs once, when a wait is about to acquire the mutex again.
std::function<void()> beforeReacquire;
void runBeforeReacquire(RWMutexLock&) {
  if (auto action = std::exchange(beforeReacquire, nullptr)) action();
}

TEST(RWCondition, CountsASignalGivenBeforeTheMutexIsReacquiredButNoneBeforeTheWait) {
  RWMutexLock lock(runBeforeReacquire);
  RWCondition condition(lock);
  const LockGuard guard(lock);
  condition.signal();
  EXPECT_FALSE(condition.wait(0));
  beforeReacquire = [&] {
    const LockGuard signaler(lock);
    condition.signal();
  };
  EXPECT_TRUE(condition.wait(0));
}

TEST(RWCondition, NamesWhatFailedAndLeavesNoWaiter) {
  RWMutexLock lock(runBeforeReacquire);
  RWCondition condition(lock);
  lock.acquire();
  beforeReacquire = [] { throw 1; };  // The wait does not acquire the mutex again.
  EXPECT_EQ(textOf([&] { condition.wait(0); }), "RWCondition::wait - Unexpected exception");
  EXPECT_EQ(textOf([&] { condition.wait(); }),
            "RWCondition::wait - RWMutexLock::release - ReleaseMutex() - Error Code: 288");
  EXPECT_TRUE(Access::waiters(condition).empty());
  RWSemaphore full(0x7FFFFFFF);
  Access::waiters(condition) = {&full, &full};
  const std::string release = "RWSemaphore::release - ReleaseSemaphore() - Error Code: 298";
  EXPECT_EQ(textOf([&] { condition.signal(); }), "RWCondition::signal - " + release);
  EXPECT_EQ(textOf([&] { condition.signalAll(); }), "RWCondition::signalAll - " + release);
}

}  // namespace
}  // namespace orla
