#include "threads/RWMutexLock.h"

#include <gtest/gtest.h>

#include "ThreadsTestAccess.h"

namespace orla {
namespace {

TEST(RWMutexLock, IsHeldUntilReleasedAsOftenAsAcquired) {
  RWMutexLock lock;
  lock.acquire();
  ASSERT_TRUE(lock.acquire(0) && lock.tryAcquire());
  for (int held = 3; held > 0; --held) {
    EXPECT_FALSE(isFree(lock, 1));
    EXPECT_EQ(textOf([&] { inBackground([&] { lock.release(); }).get(); }),
              "RWMutexLock::release - ReleaseMutex() - Error Code: 288");
    lock.release();
  }
  EXPECT_TRUE(isFree(lock));
}

TEST(RWMutexLock, OnlyTheUnlimitedAcquireTakesOverFromADeadOwner) {
  RWMutexLock lock;
  const auto acquire = [&] { lock.acquire(); };
  std::thread(acquire).join();
  EXPECT_EQ(textOf([&] { SetLastError(77), lock.acquire(1000); }),
            "RWMutexLock::acquire - WaitForSingleObject() - Error Code: 77");
  EXPECT_TRUE(isFree(lock));
  std::thread(acquire).join();
  EXPECT_EQ(textOf([&] { SetLastError(78), lock.tryAcquire(); }),
            "RWMutexLock::tryAcquire - WaitForSingleObject() - Error Code: 78");
  EXPECT_TRUE(isFree(lock));
  std::thread(acquire).join();
  lock.acquire();
  EXPECT_FALSE(isFree(lock));
  lock.release();
}

TEST(RWMutexLock, NamesTheCallThatFailed) {
  auto* const lock = new RWMutexLock;
  EXPECT_EQ(textOfBroken(*lock, [&] { lock->acquire(); }),
            "RWMutexLock::acquire - WaitForSingleObject() - Error Code: 6");
  EXPECT_EQ(textOfBroken(*lock, [&] { lock->release(); }),
            "RWMutexLock::release - ReleaseMutex() - Error Code: 6");
  CloseHandle(std::exchange(ThreadsTestAccess::handle(*lock), nullptr));
  EXPECT_EQ(textOf([&] { delete lock; }),
            "RWMutexLock::~RWMutexLock - CloseHandle() - Error Code: 6");
}

}  // namespace
}  // namespace orla
