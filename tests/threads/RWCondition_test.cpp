#include "threads/RWCondition.h"

#include <functional>
#include <gtest/gtest.h>

#include "ThreadsTestAccess.h"

namespace orla {
namespace {

using Access = ThreadsTestAccess;
using LockGuard = RWTMonitor<RWMutexLock>::LockGuard;

TEST(RWCondition, WakesInTheOrderOfWaiting) {
  RWMutexLock lock;
  RWCondition condition(lock);
  std::vector<std::future<void>> threads;
  const auto sleep = [&] {
    LockGuard guard(lock);
    condition.wait();
  };
  for (std::size_t i = 1; i <= 4; ++i) {
    threads.push_back(inBackground(sleep));
    awaitSleepers(lock, condition, i);
  }
  for (std::size_t i = 0; i < 2; ++i) {
    (LockGuard(lock), condition.signal());
    threads[i].get();
  }
  (LockGuard(lock), condition.signalAll());
}

TEST(RWCondition, LocksAndScopesEndQuietlyWhileAnotherErrorIsOnItsWay) {
  EXPECT_EQ(textOf<RWTHRClosedException>([] {
              RWMutexLock lock;
              RWSemaphore semaphore(0);
              LockGuard guard(lock);
              RWTMonitor<RWMutexLock>::UnlockGuard unlocked(lock);
              CloseHandle(std::exchange(Access::handle(lock), nullptr));
              CloseHandle(std::exchange(Access::handle(semaphore), nullptr));
              throw RWTHRClosedException("first");
            }),
            "first");
}

// Runs once, when a wait is about to take the mutex again.
std::function<void()> beforeReacquire;
void runBeforeReacquire(RWMutexLock&) {
  if (auto action = std::exchange(beforeReacquire, nullptr)) action();
}

TEST(RWCondition, CountsASignalBeforeTheMutexIsBackButNotBeforeTheWait) {
  RWMutexLock lock(runBeforeReacquire);
  RWCondition condition(lock);
  LockGuard guard(lock);
  condition.signal();
  EXPECT_FALSE(condition.wait(0));
  beforeReacquire = [&] {
    LockGuard inner(lock);
    condition.signal();
  };
  EXPECT_TRUE(condition.wait(0));
}

TEST(RWCondition, FailuresSayWhyAndLeaveNoWaiter) {
  RWMutexLock lock(runBeforeReacquire);
  RWCondition condition(lock);
  [&]() ORLA_NO_ANALYSIS { lock.acquire(); }();
  beforeReacquire = [] { throw 1; };  // The mutex is not taken again.
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
