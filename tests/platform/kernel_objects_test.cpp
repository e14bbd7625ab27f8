#include "PlatformTest.h"

namespace orla {
namespace {

TEST(MutexObject, BelongsToOneThreadUntilReleasedAsOftenAsTaken) {
  for (const std::string& name : {std::string(), freshName()}) {
    const Handle mutex(makeMutex(name, TRUE));
    EXPECT_EQ(poll(mutex), WAIT_OBJECT_0);
    for (int taken = 2; taken > 0; --taken) {
      elsewhere([&] {
        EXPECT_EQ(WaitForSingleObject(mutex, 10), WAIT_TIMEOUT);
        EXPECT_EQ(refusal(ReleaseMutex(mutex)), ERROR_NOT_OWNER);
      });
      EXPECT_TRUE(ReleaseMutex(mutex));
    }
    EXPECT_EQ(refusal(ReleaseMutex(mutex)), ERROR_NOT_OWNER);
    // Who ends with it abandons it, and the next owner hears of it once.
    const Handle event(makeEvent(TRUE, FALSE));
    for (const DWORD limit : {0U, 1000U, static_cast<unsigned>(INFINITE)}) {
      elsewhere([&] { EXPECT_EQ(poll(mutex) + poll(mutex), WAIT_OBJECT_0); });
      EXPECT_FALSE(ReleaseMutex(mutex));
      EXPECT_EQ(waitForBoth(mutex, event, 0), WAIT_TIMEOUT);
      EXPECT_EQ(WaitForSingleObject(mutex, limit), WAIT_ABANDONED);
      EXPECT_EQ(poll(mutex), WAIT_OBJECT_0);
      EXPECT_TRUE(ReleaseMutex(mutex) && ReleaseMutex(mutex) && !ReleaseMutex(mutex));
    }
  }
}

TEST(MutexObject, MayBeClosedWhileOwned) {
  for (const std::string& name : {std::string(), freshName()}) {
    Handle(makeMutex(name, TRUE)).close();
    elsewhere([&] {
      Handle theirs(makeMutex(name, TRUE));
      EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
      elsewhere([&] { theirs.close(); });
      const Handle next(makeMutex("", TRUE));
      EXPECT_TRUE(ReleaseMutex(next));
    });
  }
}

TEST(SemaphoreObject, CountsUpToItsMaximum) {
  const Handle semaphore(makeSemaphore(1, 3));
  LONG previous = -1;
  EXPECT_TRUE(ReleaseSemaphore(semaphore, 2, &previous) && previous == 1);
  EXPECT_EQ(refusal(ReleaseSemaphore(semaphore, 1, nullptr)), ERROR_TOO_MANY_POSTS);
  EXPECT_FALSE(ReleaseSemaphore(semaphore, 0x7FFFFFFF, nullptr)) << "the sum must not wrap";
  EXPECT_EQ(poll(semaphore) + poll(semaphore) + poll(semaphore), WAIT_OBJECT_0);
  EXPECT_FALSE(ReleaseMutex(semaphore) || SetEvent(semaphore) || CloseHandle(nullptr));
  const Handle event(makeEvent(FALSE, TRUE));
  EXPECT_EQ(poll(event) + poll(event), WAIT_TIMEOUT) << "resets itself";
}

TEST(SemaphoreObject, MayBeClosedByWhomItWoke) {
  for (int i = 0; i < 200; ++i) {
    const HANDLE semaphore = makeSemaphore(0, 1);
    std::thread waiter([=] {
      EXPECT_EQ(WaitForSingleObject(semaphore, INFINITE), WAIT_OBJECT_0);
      EXPECT_TRUE(CloseHandle(semaphore));
    });
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, nullptr));
    waiter.join();
  }
}

TEST(NamedObjects, AreOneWhileOpenAndFreshAfterwards) {
  const std::string name = freshName();
  Handle first(makeSemaphore(1, 5, name));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  Handle second(makeSemaphore(4, 4, name));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(poll(second) + poll(first), WAIT_TIMEOUT) << "the first creator's count, for both";
  EXPECT_EQ(refusal(makeMutex(name)), ERROR_INVALID_HANDLE);
  first.close();
  EXPECT_TRUE(ReleaseSemaphore(second, 5, nullptr));
  second.close();
  EXPECT_EQ(poll(Handle(makeSemaphore(0, 1, name))), WAIT_TIMEOUT);
}

}  // namespace
}  // namespace orla
