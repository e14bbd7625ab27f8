#include "threads/RWMutexLock.h"

#include "ThreadsTestAccess.h"

namespace orla {

TEST(RWMutexLock, OnlyTheUnlimitedAcquireTakesOverFromADeadOwnerAndItCounts) {
  RWMutexLock lock;
  const auto die = [&] { std::thread([&] { lock.acquire(); }).join(); };
  die();
  const auto acquireInTime = [&] {
    SetLastError(77);
    lock.acquire(1000);
  };
  EXPECT_EQ(textOf(acquireInTime), "RWMutexLock::acquire - WaitForSingleObject() - Error Code: 77");
  EXPECT_TRUE(isFree(lock));
  die();
  lock.acquire();
  EXPECT_TRUE(lock.tryAcquire());
  lock.release();
  EXPECT_FALSE(isFree(lock, 1)) << "released less often than acquired";
  lock.release();
  EXPECT_TRUE(isFree(lock));
}

}  // namespace orla
