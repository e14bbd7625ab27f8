#include "PlatformTest.h"

#include <chrono>
#include <memory>
#include <random>

namespace orla {

struct Closer {
  void operator()(HANDLE object) const { EXPECT_TRUE(CloseHandle(object)); }
};
using Handle = std::unique_ptr<void, Closer>;

static const std::string kName = "Orla.Test.Object@" + std::to_string(std::random_device()()) + "-";

static Handle makeMutex(const std::string& name) {
  return Handle(CreateMutexA(nullptr, TRUE, name.c_str()));
}
static Handle makeSemaphore(LONG initial, LONG maximum, const std::string& name) {
  return Handle(CreateSemaphoreA(nullptr, initial, maximum, name.c_str()));
}
static DWORD poll(const Handle& object) {
  return WaitForSingleObject(object.get(), 0);
}

TEST(MutexObject, BelongsToOneThreadUntilReleasedAsOftenAsTaken) {
  for (const std::string& name : {std::string(), kName}) {
    const Handle mutex = makeMutex(name), full = makeSemaphore(0, 1, "");
    const HANDLE m = mutex.get(), both[] = {m, full.get()};
    elsewhere([&] {
      EXPECT_EQ(WaitForSingleObject(m, 10), WAIT_TIMEOUT);
      EXPECT_TRUE(!ReleaseMutex(m) && GetLastError() == ERROR_NOT_OWNER);
    });
    EXPECT_TRUE(ReleaseMutex(m));
    // Who ends with it abandons it, and the next owner hears of it once.
    for (const auto limit : {0U, 1000U, ~0U}) {
      elsewhere([&] { EXPECT_EQ(poll(mutex) + poll(mutex), WAIT_OBJECT_0); });
      EXPECT_FALSE(ReleaseMutex(m));
      EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, 0), WAIT_TIMEOUT);
      EXPECT_EQ(WaitForSingleObject(m, limit), WAIT_ABANDONED);
      EXPECT_EQ(poll(mutex), WAIT_OBJECT_0);
      EXPECT_TRUE(ReleaseMutex(m) && ReleaseMutex(m) && !ReleaseMutex(m));
    }
  }
}

TEST(MutexObject, StaysFreeIfAWaitForAllFails) {
  const Handle mutex = makeMutex(""), owned = makeMutex("");
  const HANDLE both[] = {mutex.get(), owned.get()};
  EXPECT_TRUE(ReleaseMutex(mutex.get()));
  elsewhere([&] {
    EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, 0), WAIT_TIMEOUT);
    elsewhere([&] { EXPECT_EQ(poll(mutex), WAIT_OBJECT_0); });
  });
}

TEST(MutexObject, MayBeClosedWhileOwned) {
  for (const std::string& name : {std::string(), kName}) {
    makeMutex(name).reset();
    elsewhere([&] {
      Handle theirs = makeMutex(name);
      EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
      elsewhere([&] { theirs.reset(); });
      EXPECT_TRUE(ReleaseMutex(makeMutex("").get()));
    });
  }
}

TEST(SemaphoreObject, MayBeClosedByWhomItWoke) {
  for (int i = 0; i < 200; ++i) {
    const HANDLE semaphore = makeSemaphore(0, 1, "").release();
    std::thread waiter([=] {
      EXPECT_EQ(WaitForSingleObject(semaphore, INFINITE), WAIT_OBJECT_0);
      EXPECT_TRUE(CloseHandle(semaphore));
    });
    // Usually the waiter sleeps by then. The test passes in either case.
    if (i % 10 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, nullptr));
    waiter.join();
  }
}

TEST(NamedObjects, AreOneWhileOpenAndFreshAfterwards) {
  Handle first = makeSemaphore(1, 5, kName);
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  Handle second = makeSemaphore(4, 4, kName);
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(poll(second) + poll(first), WAIT_TIMEOUT) << "the first creator's count, for both";
  EXPECT_TRUE(!makeMutex(kName) && GetLastError() == ERROR_INVALID_HANDLE);
  first.reset();
  const HANDLE left = second.get();
  EXPECT_FALSE(ReleaseMutex(left) || SetEvent(left) || CloseHandle(nullptr));
  LONG previous = -1;
  EXPECT_TRUE(ReleaseSemaphore(left, 5, &previous) && previous == 0);
  EXPECT_FALSE(ReleaseSemaphore(left, 0x7FFFFFFF, nullptr)) << "the sum must not wrap";
  second.reset();
  const Handle other = makeSemaphore(0, 1, kName + "other");
  // More than there can be at a time.
  for (int i = 0; i < 200; ++i) EXPECT_EQ(poll(makeSemaphore(0, 1, kName)), WAIT_TIMEOUT);
}

}  // namespace orla
