#include "threads/RWMutexLock.h"

#include <gtest/gtest.h>

#include "ThreadsTestAccess.h"

namespace orla {
namespace {

TEST(RWMutexLock, IsHeldUntilReleasedAsOftenAsAcquired) {
  RWMutexLock lock;
  lock.acquire();
  ASSERT_TRUE(lock.acquire(0) && lock.tryAcquire());
  for (int held = 3; held > 0; --held, lock.release()) EXPECT_FALSE(isFree(lock, 1));
  EXPECT_TRUE(isFree(lock));
  EXPECT_EQ(textOf([&] { lock.release(); }),
            "RWMutexLock::release - ReleaseMutex() - Error Code: 288");
}

TEST(RWMutexLock, OnlyTheUnlimitedAcquireTakesOverFromADeadOwner) {
  RWMutexLock lock;
  const auto die = [&] { std::thread([&] { lock.acquire(); }).join(); };
  die();
  EXPECT_EQ(textOf([&] { SetLastError(77), lock.acquire(1000); }),
            "RWMutexLock::acquire - WaitForSingleObject() - Error Code: 77");
  EXPECT_TRUE(isFree(lock));
  die();
  lock.acquire();
  EXPECT_FALSE(isFree(lock));
  lock.release();
}

TEST(RWMutexLock, NamesTheCallThatFailed) {
  auto* const lock = new RWMutexLock;
  CloseHandle(std::exchange(ThreadsTestAccess::handle(*lock), nullptr));
  EXPECT_EQ(textOf([&] { lock->acquire(); }),
            "RWMutexLock::acquire - WaitForSingleObject() - Error Code: 6");
  EXPECT_EQ(textOf([&] { lock->tryAcquire(); }),
            "RWMutexLock::tryAcquire - WaitForSingleObject() - Error Code: 6");
  EXPECT_EQ(textOf([&] { delete lock; }),
            "RWMutexLock::~RWMutexLock - CloseHandle() - Error Code: 6");
}

TEST(RWSemaphore, CountsAcrossThreadsAndNamesTheCallThatFailed) {
  RWSemaphore semaphore(1);
  EXPECT_TRUE(semaphore.acquire(0));
  EXPECT_FALSE(semaphore.tryAcquire() || semaphore.acquire(1));
  inBackground([&] { semaphore.release(); }).get();
  semaphore.acquire();
  EXPECT_EQ(textOf([] { RWSemaphore negative(-1); }),
            "RWSemaphore::RWSemaphore - CreateSemaphore() - Error Code: 87");
  void* const handle = std::exchange(ThreadsTestAccess::handle(semaphore), nullptr);
  EXPECT_EQ(textOf([&] { semaphore.acquire(); }),
            "RWSemaphore::acquire - WaitForSingleObject() - Error Code: 6");
  EXPECT_EQ(textOf([&] { semaphore.tryAcquire(); }),
            "RWSemaphore::tryAcquire - WaitForSingleObject() - Error Code: 6");
  ThreadsTestAccess::handle(semaphore) = handle;
}

}  // namespace
}  // namespace orla
