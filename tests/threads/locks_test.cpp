#include "ThreadsTestAccess.h"

namespace orla {

TEST(RWMutexLock, OnlyTheUnlimitedAcquireTakesOverFromADeadOwner) {
  RWMutexLock lock;
  const auto die = [&] { std::thread([&] { lock.acquire(); }).join(); };
  die();
  EXPECT_EQ(textOf([&] { SetLastError(77), lock.acquire(1000); }),
            "RWMutexLock::acquire - WaitForSingleObject() - Error Code: 77");
  EXPECT_TRUE(isFree(lock));
  die();
  lock.acquire();
  EXPECT_TRUE(lock.tryAcquire() && !isFree(lock, 1));
  lock.release(), lock.release();
  EXPECT_TRUE(isFree(lock));
}

TEST(RWCondition, WakesInTheOrderOfWaiting) {
  RWMutexLock lock;
  RWCondition condition(lock);
  std::future<void> threads[4];
  for (std::size_t i = 0; i < 4; ++i) {
    threads[i] = inBackground([&] { (LockGuard(lock), condition.wait()); });
    awaitSleepers(lock, condition, i + 1);
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
static std::function<void()> beforeReacquire;
static void runBeforeReacquire(RWMutexLock&) {
  if (auto action = std::exchange(beforeReacquire, nullptr)) action();
}

TEST(RWCondition, CountsASignalBeforeTheMutexIsBackButNotBeforeTheWait) {
  RWMutexLock lock(runBeforeReacquire);
  RWCondition condition(lock);
  LockGuard guard(lock);
  condition.signal();
  EXPECT_FALSE(condition.wait(0));
  beforeReacquire = [&] { (LockGuard(lock), condition.signal()); };
  EXPECT_TRUE(condition.wait(0));
}

TEST(RWCondition, FailuresSayWhyAndLeaveNoWaiter) {
  RWMutexLock lock(runBeforeReacquire);
  RWCondition condition(lock);
  lock.acquire();
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

}  // namespace orla
