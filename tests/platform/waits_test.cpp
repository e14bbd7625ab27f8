#include <atomic>
#include <future>
#include <vector>

#include "KernelObjectTest.h"

namespace orla {
namespace {

TEST(WaitForAll, TakesBothOrNeither) {
  const Handle mutex(makeMutex());
  const Handle semaphore(makeSemaphore(0, 9));
  EXPECT_EQ(waitForBoth(mutex, semaphore, 0), WAIT_TIMEOUT);
  EXPECT_EQ(waitForBoth(semaphore, mutex, 20), WAIT_TIMEOUT);
  EXPECT_FALSE(ReleaseMutex(mutex)) << "the mutex was kept";
  EXPECT_TRUE(ReleaseSemaphore(semaphore, 2, nullptr));
  EXPECT_EQ(waitForBoth(semaphore, mutex, 0), WAIT_OBJECT_0);
  std::thread([&] {
    EXPECT_EQ(waitForBoth(mutex, semaphore, 20), WAIT_TIMEOUT);
    EXPECT_EQ(poll(semaphore), WAIT_OBJECT_0) << "the count was lowered";
  }).join();
  EXPECT_EQ(poll(semaphore), WAIT_TIMEOUT) << "the count was not lowered";
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_FALSE(ReleaseMutex(mutex));
}

TEST(WaitForAll, HoldsNeitherWhileItSleeps) {
  const Handle mutex(makeMutex());
  const Handle event(makeEvent(TRUE, FALSE));
  std::promise<void> taken;
  std::thread waiter([&] {
    EXPECT_EQ(waitForBoth(mutex, event, INFINITE), WAIT_OBJECT_0);
    taken.set_value();
    EXPECT_TRUE(ReleaseMutex(mutex));
  });
  // With the mutex held, the event goes up and down: the waiter must sleep on either and take none.
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(SetEvent(event));
    std::this_thread::yield();
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_TRUE(ReleaseMutex(mutex));
  }
  EXPECT_EQ(taken.get_future().wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  EXPECT_TRUE(SetEvent(event));
  waiter.join();
}

TEST(WaitForAll, TellsWhichMutexWasAbandoned) {
  const Handle event(makeEvent(FALSE, TRUE));
  const Handle mutex(makeMutex());
  std::thread([&] { EXPECT_EQ(poll(mutex), WAIT_OBJECT_0); }).join();
  // Each system says it in a number of its own, from which an index can be told.
  const DWORD result = waitForBoth(event, mutex, INFINITE);
  EXPECT_GE(result, WAIT_ABANDONED_0);
  EXPECT_LE(result, WAIT_ABANDONED_0 + 1);
  EXPECT_EQ(poll(event), WAIT_TIMEOUT);
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(WaitForAll, WakesWhicheverObjectComesLast) {
  for (const bool mutexLast : {false, true}) {
    const Handle mutex(makeMutex());
    const Handle semaphore(makeSemaphore(mutexLast ? 1 : 0, 1));
    if (mutexLast) {
      ASSERT_EQ(poll(mutex), WAIT_OBJECT_0);
    }
    std::promise<void> started;
    std::thread waiter([&] {
      started.set_value();
      EXPECT_EQ(waitForBoth(mutex, semaphore, 60000), WAIT_OBJECT_0);
      EXPECT_TRUE(ReleaseMutex(mutex));
    });
    started.get_future().wait();
    EXPECT_TRUE(mutexLast ? ReleaseMutex(mutex) : ReleaseSemaphore(semaphore, 1, nullptr));
    waiter.join();
  }
}

// Readers count themselves in and out, as a lock for many readers or one writer does; a writer must
// never meet one, and no count may get lost or seem lower than it is.
TEST(WaitForAll, CarriesALockOfManyReadersOrOneWriter) {
  const Handle noWriter(makeMutex());
  const Handle noReaders(makeEvent(TRUE, TRUE));
  const Handle readers(makeSemaphore(0, 0x7FFFFFFF));
  std::atomic<int> inside{0};
  std::atomic<int> writers{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i)
    threads.emplace_back([&] {
      for (int k = 0; k < 300; ++k) {
        LONG before = 0;
        ASSERT_EQ(WaitForSingleObject(noWriter, INFINITE), WAIT_OBJECT_0);
        ASSERT_TRUE(ReleaseSemaphore(readers, 1, &before));
        if (before == 0) {
          EXPECT_TRUE(ResetEvent(noReaders));
        }
        ASSERT_TRUE(ReleaseMutex(noWriter));
        ++inside;
        EXPECT_EQ(writers, 0);
        --inside;
        ASSERT_EQ(waitForBoth(noWriter, readers, INFINITE), WAIT_OBJECT_0);
        const bool others = poll(readers) == WAIT_OBJECT_0;
        EXPECT_TRUE(others ? ReleaseSemaphore(readers, 1, nullptr) : SetEvent(noReaders));
        ASSERT_TRUE(ReleaseMutex(noWriter));
      }
    });
  threads.emplace_back([&] {
    for (int k = 0; k < 50; ++k) {
      ASSERT_EQ(waitForBoth(noWriter, noReaders, INFINITE), WAIT_OBJECT_0);
      ++writers;
      EXPECT_EQ(inside, 0);
      EXPECT_EQ(poll(readers), WAIT_TIMEOUT);
      --writers;
      ASSERT_TRUE(ReleaseMutex(noWriter));
    }
  });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(poll(readers), WAIT_TIMEOUT);
}

}  // namespace
}  // namespace orla
