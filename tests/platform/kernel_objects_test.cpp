#include <functional>
#include <vector>

#include "KernelObjectTest.h"

namespace orla {
namespace {

/// Whether no thread owns the mutex.
bool isFree(HANDLE mutex) {
  bool free = false;
  std::thread([&] {
    free = poll(mutex) == WAIT_OBJECT_0;
    if (free) {
      EXPECT_TRUE(ReleaseMutex(mutex));
    }
  }).join();
  return free;
}

TEST(MutexObject, BelongsToOneThreadUntilReleasedAsOftenAsTaken) {
  for (const std::string& name : {std::string(), freshName()}) {
    const Handle mutex(makeMutex(name));
    EXPECT_FALSE(ReleaseMutex(mutex)) << "nobody owns it";
    EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
    for (const DWORD limit : {0U, 10U, static_cast<unsigned>(INFINITE)})
      EXPECT_EQ(WaitForSingleObject(mutex, limit), WAIT_OBJECT_0);
    std::thread([&] {
      EXPECT_EQ(poll(mutex), WAIT_TIMEOUT);
      EXPECT_EQ(WaitForSingleObject(mutex, 10), WAIT_TIMEOUT);
      EXPECT_FALSE(ReleaseMutex(mutex));
      EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
    }).join();
    for (int taken = 3; taken > 0; --taken) {
      EXPECT_FALSE(isFree(mutex));
      EXPECT_TRUE(ReleaseMutex(mutex));
    }
    EXPECT_TRUE(isFree(mutex));
    EXPECT_FALSE(ReleaseMutex(mutex));
  }
}

TEST(MutexObject, TellsItsNextOwnerOnceThatItWasAbandoned) {
  for (const std::string& name : {std::string(), freshName()}) {
    const Handle mutex(makeMutex(name));
    const Handle event(makeEvent(TRUE, FALSE));
    for (const DWORD limit : {0U, 1000U, static_cast<unsigned>(INFINITE)}) {
      std::thread([&] { EXPECT_EQ(poll(mutex) + poll(mutex), WAIT_OBJECT_0); }).join();
      EXPECT_FALSE(ReleaseMutex(mutex));
      EXPECT_EQ(waitForBoth(mutex, event, 0), WAIT_TIMEOUT);
      EXPECT_EQ(WaitForSingleObject(mutex, limit), WAIT_ABANDONED);
      EXPECT_EQ(poll(mutex), WAIT_OBJECT_0);
      EXPECT_TRUE(ReleaseMutex(mutex));
      EXPECT_TRUE(ReleaseMutex(mutex));
      EXPECT_FALSE(ReleaseMutex(mutex));
    }
  }
}

TEST(MutexObject, KeepsThreadsApart) {
  const Handle mutex(makeMutex());
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int k = 0; k < 2000; ++k) {
        EXPECT_EQ(WaitForSingleObject(mutex, k % 2 == 0 ? INFINITE : 60000), WAIT_OBJECT_0);
        ++count;
        EXPECT_TRUE(ReleaseMutex(mutex));
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(count, 8000);
}

TEST(MutexObject, MayBeClosedWhileOwned) {
  for (const std::string& name : {std::string(), freshName()}) {
    Handle mine(CreateMutexA(nullptr, TRUE, name.empty() ? nullptr : name.c_str()));
    EXPECT_FALSE(isFree(mine));
    EXPECT_EQ(poll(mine), WAIT_OBJECT_0);
    mine.close();
    std::thread([&] {
      Handle theirs(makeMutex(name));
      EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
      EXPECT_EQ(poll(theirs), WAIT_OBJECT_0);
      std::thread([&] { theirs.close(); }).join();
      const Handle next(makeMutex());
      EXPECT_EQ(poll(next), WAIT_OBJECT_0);
      EXPECT_TRUE(ReleaseMutex(next));
    }).join();
  }
}

TEST(EventObject, ResetsItselfOrStaysSet) {
  for (const bool manual : {false, true}) {
    const Handle event(makeEvent(manual, TRUE));
    EXPECT_EQ(poll(event), WAIT_OBJECT_0);
    EXPECT_EQ(poll(event), manual ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_EQ(WaitForSingleObject(event, 10), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(poll(event), manual ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
  }
}

TEST(EventObject, WakesEverySleeperOrOne) {
  for (const bool manual : {true, false}) {
    const Handle event(makeEvent(manual, FALSE));
    const Handle woken(makeSemaphore(0, 3));
    std::vector<std::thread> sleepers;
    for (int i = 0; i < 3; ++i)
      sleepers.emplace_back([&] {
        EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
        EXPECT_TRUE(ReleaseSemaphore(woken, 1, nullptr));
      });
    EXPECT_TRUE(SetEvent(event));
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(WaitForSingleObject(woken, INFINITE), WAIT_OBJECT_0);
      if (!manual && i < 2) {
        EXPECT_EQ(poll(woken), WAIT_TIMEOUT) << "one set, one sleeper";
        EXPECT_TRUE(SetEvent(event));
      }
    }
    for (auto& sleeper : sleepers) sleeper.join();
  }
}

TEST(SemaphoreObject, CountsUpToItsMaximum) {
  const Handle semaphore(makeSemaphore(1, 3));
  LONG previous = -1;
  EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, &previous));
  EXPECT_EQ(previous, 1);
  EXPECT_FALSE(ReleaseSemaphore(semaphore, 2, &previous));
  EXPECT_EQ(GetLastError(), ERROR_TOO_MANY_POSTS);
  EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, nullptr));
  EXPECT_FALSE(ReleaseSemaphore(semaphore, 0x7FFFFFFF, nullptr)) << "the sum must not wrap";
  EXPECT_FALSE(ReleaseSemaphore(semaphore, -1, nullptr));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(poll(semaphore), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(semaphore, 10), WAIT_TIMEOUT);

  const struct {
    LONG initial;
    LONG maximum;
  } refused[] = {{-1, 1}, {2, 1}, {0, 0}, {0, -1}};
  for (const auto& row : refused) {
    EXPECT_EQ(makeSemaphore(row.initial, row.maximum), nullptr) << row.initial;
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  }
}

TEST(KernelObjects, RefuseHandlesThatAreNone) {
  const Handle mutex(makeMutex());
  const Handle event(makeEvent(TRUE, TRUE));
  const std::function<bool()> calls[] = {
      [&] { return WaitForSingleObject(nullptr, 0) != WAIT_FAILED; },
      [&] { return waitForBoth(mutex, nullptr, 0) != WAIT_FAILED; },
      [&] { return ReleaseMutex(nullptr) != FALSE; },
      [&] { return ReleaseMutex(event) != FALSE; },
      [&] { return SetEvent(mutex) != FALSE; },
      [&] { return ResetEvent(nullptr) != FALSE; },
      [&] { return ReleaseSemaphore(event, 1, nullptr) != FALSE; },
      [&] { return CloseHandle(nullptr) != FALSE; },
  };
  for (const auto& call : calls) {
    SetLastError(0);
    EXPECT_FALSE(call()) << &call - calls;
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE) << &call - calls;
  }
}

TEST(NamedObjects, AreOneWhileOpenAndFreshAfterwards) {
  const std::string name = freshName();
  Handle first(makeSemaphore(1, 5, name));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  Handle second(makeSemaphore(4, 4, name));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(poll(second), WAIT_OBJECT_0);
  EXPECT_EQ(poll(first), WAIT_TIMEOUT) << "the first creator's count, taken through the second";
  EXPECT_EQ(makeMutex(name), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  first.close();
  EXPECT_TRUE(ReleaseSemaphore(second, 5, nullptr));
  second.close();
  const Handle fresh(makeSemaphore(0, 1, name));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_EQ(poll(fresh), WAIT_TIMEOUT);
}

TEST(NamedObjects, DifferByEveryCharacterOfTheirNames) {
  const std::string stem = freshName();
  const std::string longest = stem + std::string(259 - stem.size(), 'x');
  const std::string names[] = {stem + "a", stem + "A",  stem + ".a", stem + " a",
                               stem + "%", stem + "%%", longest,     longest.substr(1) + "x"};
  std::vector<HANDLE> handles;
  for (const std::string& name : names) {
    handles.push_back(makeEvent(TRUE, FALSE, name));
    EXPECT_NE(handles.back(), nullptr) << name;
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << name;
  }
  for (HANDLE handle : handles) EXPECT_TRUE(CloseHandle(handle));
  EXPECT_EQ(makeEvent(TRUE, FALSE, stem + std::string(300, 'x')), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_FILENAME_EXCED_RANGE);
}

}  // namespace
}  // namespace orla
