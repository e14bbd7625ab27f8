// Named objects between processes, some of which are killed; and what the port refuses.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

#include "KernelObjectTest.h"

namespace orla {
namespace {

/// A forked process that runs `work` and then sleeps until it is killed.
class Child {
 public:
  explicit Child(const std::function<bool()>& work) {
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    id_ = ::fork();
    if (id_ == 0) {
      const char done = work() ? '+' : '-';
      if (::write(ends[1], &done, 1) != 1) ::_exit(1);
      for (;;) ::pause();
    }
    ::close(ends[1]);
    report_ = ends[0];
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    kill();
    ::close(report_);
  }

  /// Waits until the work is done; whether it found what it should.
  bool succeeded() const {
    char done = 0;
    return ::read(report_, &done, 1) == 1 && done == '+';
  }
  void kill() {
    if (id_ <= 0) return;
    ::kill(id_, SIGKILL);
    EXPECT_EQ(::waitpid(id_, nullptr, 0), id_);
    id_ = 0;
  }

 private:
  pid_t id_ = 0;
  int report_ = -1;
};

/// A name whose file a killed last user may have left: opened once more, it goes.
struct Name {
  const std::string text = freshName();
  ~Name() {
    const HANDLE mutex = makeMutex(text);
    if (mutex == nullptr || !CloseHandle(mutex)) ADD_FAILURE() << "still in use";
  }
  operator const std::string&() const { return text; }
};

TEST(Processes, KilledOwnerAbandonsTheMutex) {
  const Name name;
  Child owner([&] { return poll(makeMutex(name)) == WAIT_OBJECT_0; });
  ASSERT_TRUE(owner.succeeded());
  const Handle mutex(makeMutex(name));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(WaitForSingleObject(mutex, 10), WAIT_TIMEOUT);
  EXPECT_FALSE(ReleaseMutex(mutex));
  owner.kill();
  EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_ABANDONED);
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(poll(mutex), WAIT_OBJECT_0);
}

TEST(Processes, KilledLastUserLeavesTheNameFresh) {
  const Name name;
  Child first([&] { return makeSemaphore(3, 9, name) && GetLastError() == ERROR_SUCCESS; });
  ASSERT_TRUE(first.succeeded());
  Child second([&] { return makeSemaphore(0, 1, name) && GetLastError() == ERROR_ALREADY_EXISTS; });
  ASSERT_TRUE(second.succeeded());
  first.kill();
  {
    const Handle still(makeSemaphore(0, 1, name));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(poll(still), WAIT_OBJECT_0);
  }
  second.kill();
  const Handle fresh(makeMutex(name));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << "of another kind, and yet fresh";
}

TEST(Processes, ForkedChildSharesWhatItInheritedAndKeepsItAlive) {
  const Name name;
  Handle mine(makeEvent(TRUE, FALSE, name));
  HANDLE inherited = mine;
  Child child([&] { return WaitForSingleObject(inherited, INFINITE) == WAIT_OBJECT_0; });
  EXPECT_TRUE(SetEvent(mine));
  EXPECT_TRUE(child.succeeded());
  mine.close();
  Handle again(makeEvent(TRUE, FALSE, name));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(poll(again), WAIT_OBJECT_0);
}

TEST(Processes, SleeperIsWokenByAnotherProcessThoughOneWasKilledAsleep) {
  const Name mutexName;
  const Name eventName;
  const Handle mutex(makeMutex(mutexName));
  const Handle event(makeEvent(TRUE, FALSE, eventName));
  const auto sleep = [&] {
    return waitForBoth(makeMutex(mutexName), makeEvent(TRUE, FALSE, eventName), INFINITE) ==
           WAIT_OBJECT_0;
  };
  // The first is killed wherever it happens to be, asleep or on its way there.
  { const Child killed(sleep); }
  Child woken(sleep);
  EXPECT_EQ(poll(mutex), WAIT_OBJECT_0);
  EXPECT_TRUE(SetEvent(event));
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_TRUE(woken.succeeded());
  EXPECT_EQ(WaitForSingleObject(mutex, 10), WAIT_TIMEOUT) << "the other process owns it";
}

/// How many files the system keeps for a name made by freshName().
std::ptrdiff_t filesOf(const std::string& name) {
  const std::filesystem::directory_iterator files("/dev/shm");
  return std::count_if(begin(files), end(files), [&](const auto& file) {
    return file.path().filename().string().find(name) != std::string::npos;
  });
}

TEST(NamedObjects, LeaveNoFileBehind) {
  const Name name;
  Handle first(makeMutex(name));
  Handle second(makeMutex(name));
  first.close();
  EXPECT_EQ(filesOf(name), 1);
  second.close();
  EXPECT_EQ(filesOf(name), 0);
  // Not even a mutex that stays in memory, because another thread owns it.
  std::thread([&] {
    Handle owned(makeMutex(name));
    EXPECT_EQ(poll(owned), WAIT_OBJECT_0);
    std::thread([&] { owned.close(); }).join();
    EXPECT_EQ(filesOf(name), 0);
  }).join();
  const Child killed([&] { return makeMutex(name) != nullptr; });
  EXPECT_TRUE(killed.succeeded());
  Handle third(makeMutex(name));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  third.close();
  EXPECT_EQ(filesOf(name), 1) << "still open in the other process";
}

// Processes come and go, some killed in the middle of it: whoever is inside must be alone.
TEST(Processes, OpeningAndClosingNeverSplitsAName) {
  const Name name;
  const Name insideName;
  const Handle inside(makeSemaphore(0, 9, insideName));
  const auto comeAndGo = [&](int rounds) {
    const HANDLE own = makeSemaphore(0, 9, insideName);
    for (int i = 0; i < rounds; ++i) {
      const HANDLE mutex = makeMutex(name);
      const DWORD taken = WaitForSingleObject(mutex, 20000);
      LONG before = -1;
      if (mutex == nullptr || (taken != WAIT_OBJECT_0 && taken != WAIT_ABANDONED) ||
          !ReleaseSemaphore(own, 1, &before) || before != 0 || poll(own) != WAIT_OBJECT_0 ||
          !ReleaseMutex(mutex) || !CloseHandle(mutex))
        return false;
    }
    return true;
  };
  Child one([&] { return comeAndGo(300); });
  Child two([&] { return comeAndGo(300); });
  const Handle busy(makeSemaphore(0, 9, freshName()));
  for (int i = 0; i < 20; ++i) {
    Child killed([&] {
      for (int k = 0;; ++k) {
        CloseHandle(makeMutex(name));
        if (k == i) ReleaseSemaphore(busy, 1, nullptr);
      }
      return false;
    });
    EXPECT_EQ(WaitForSingleObject(busy, 20000), WAIT_OBJECT_0);
  }
  EXPECT_TRUE(one.succeeded());
  EXPECT_TRUE(two.succeeded());
  Handle(makeMutex(name)).close();
  EXPECT_EQ(filesOf(name), 0) << "what a killed process left goes with the next";
}

TEST(WaitForAll, RefusesWhatItCannotTakeAtOnce) {
  const Handle mutex(makeMutex());
  const Handle event(makeEvent(TRUE, TRUE));
  const Handle other(makeEvent(TRUE, TRUE));
  const HANDLE rows[][2] = {{mutex, mutex}, {event, event}, {event, other}};
  for (const auto& row : rows) {
    EXPECT_EQ(WaitForMultipleObjects(2, row, TRUE, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  }
  for (const DWORD count : {0U, 9U}) {
    EXPECT_EQ(WaitForMultipleObjects(count, rows[0], TRUE, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  }
  EXPECT_EQ(WaitForMultipleObjects(1, rows[0], FALSE, 0), WAIT_FAILED);
  EXPECT_FALSE(ReleaseSemaphore(Handle(makeSemaphore(0, 1)), 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace orla
