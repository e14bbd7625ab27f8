#include "threads/RWMutexLock.h"

#include <functional>
#include <gtest/gtest.h>

#include "ThreadsTestAccess.h"

namespace orla {
namespace {

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

TEST(RWSemaphore, AndTheMutexNameTheCallThatFailed) {
  auto* const lock = new RWMutexLock;
  CloseHandle(std::exchange(ThreadsTestAccess::handle(*lock), nullptr));
  RWSemaphore semaphore(1);
  semaphore.acquire();
  EXPECT_FALSE(semaphore.tryAcquire() || semaphore.acquire(1));
  void* const handle = std::exchange(ThreadsTestAccess::handle(semaphore), nullptr);
  const std::string waiting = " - WaitForSingleObject() - Error Code: 6";
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[&] { lock->acquire(); }, "RWMutexLock::acquire" + waiting},
      {[&] { lock->tryAcquire(); }, "RWMutexLock::tryAcquire" + waiting},
      {[&] { delete lock; }, "RWMutexLock::~RWMutexLock - CloseHandle() - Error Code: 6"},
      {[] { RWSemaphore(-1); }, "RWSemaphore::RWSemaphore - CreateSemaphore() - Error Code: 87"},
      {[&] { semaphore.acquire(); }, "RWSemaphore::acquire" + waiting},
      {[&] { semaphore.tryAcquire(); }, "RWSemaphore::tryAcquire" + waiting}};
  for (const auto& [call, text] : cases) EXPECT_EQ(textOf(call), text);
  ThreadsTestAccess::handle(semaphore) = handle;
}

}  // namespace
}  // namespace orla
