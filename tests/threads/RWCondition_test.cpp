#include "threads/RWCondition.h"

#include <functional>
#include <gtest/gtest.h>
#include <vector>

#include "ThreadsTestAccess.h"

namespace orla {
namespace {

using Access = ThreadsTestAccess;
using LockGuard = RWTMonitor<RWMutexLock>::LockGuard;

TEST(RWCondition, WakesInTheOrderOfWaiting) {
  RWMutexLock lock;
  RWCondition condition(lock), progress(lock);
  std::vector<int> woken;
  std::vector<std::future<void>> threads;
  for (int i = 0; i < 4; ++i) {
    threads.push_back(inBackground([&, i] {
      LockGuard guard(lock);
      condition.wait();
      woken.push_back(i);
      progress.signal();
    }));
    awaitSleepers(lock, condition, threads.size());
  }
  LockGuard guard(lock);
  for (std::size_t number = 1; number <= 2; ++number) {
    condition.signal();
    while (woken.size() < number) progress.wait();
  }
  EXPECT_EQ(woken, (std::vector<int>{0, 1}));
  condition.signalAll();
  while (woken.size() < 4) progress.wait();
}

TEST(RWCondition, NamesTheSignalThatFailed) {
  RWMutexLock lock;
  RWCondition condition(lock);
  RWSemaphore full(0x7FFFFFFF);
  Access::waiters(condition) = {&full, &full};
  EXPECT_EQ(textOf([&] { condition.signal(); }),
            "RWCondition::signal - RWSemaphore::release - ReleaseSemaphore() - Error Code: 298");
  EXPECT_EQ(textOf([&] { condition.signalAll(); }),
            "RWCondition::signalAll - RWSemaphore::release - ReleaseSemaphore() - Error Code: 298");
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
  condition.signalAll();
  EXPECT_FALSE(condition.wait(0));
  beforeReacquire = [&] {
    LockGuard inner(lock);
    condition.signal();
  };
  EXPECT_TRUE(condition.wait(0));
  EXPECT_FALSE(condition.wait(0));
}

TEST(RWCondition, AFailedWaitSaysWhyAndLeavesNoWaiter) {
  RWMutexLock lock(runBeforeReacquire);
  RWCondition condition(lock), refused(lock, [](RWCondition&) { throw RWTHRxmsg("refused"); });
  EXPECT_EQ(textOf([&] { refused.wait(); }), "RWCondition::wait - refused");
  EXPECT_EQ(textOf([&] { refused.wait(0); }), "RWCondition::wait - refused");
  [&]() ORLA_NO_ANALYSIS { lock.acquire(); }();
  beforeReacquire = [] { throw 1; };
  EXPECT_EQ(textOf([&] { condition.wait(0); }), "RWCondition::wait - Unexpected exception");
  // The mutex could not be taken again.
  const std::string notOwned =
      "RWCondition::wait - RWMutexLock::release - ReleaseMutex() - Error Code: 288";
  EXPECT_EQ(textOf([&] { condition.wait(); }), notOwned);
  EXPECT_EQ(textOf([&] { condition.wait(0); }), notOwned);
  EXPECT_TRUE(Access::waiters(condition).empty());
}

}  // namespace
}  // namespace orla
