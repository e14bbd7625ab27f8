#include <csignal>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

#include "PlatformTest.h"

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
  ~Child() { kill(), ::close(report_); }

  /// Waits until the work is done; whether it found what it should.
  bool succeeded() const {
    char done = 0;
    return ::read(report_, &done, 1) == 1 && done == '+';
  }
  void kill() {
    if (id_ == 0) return;
    ::kill(id_, SIGKILL);
    EXPECT_GT(::waitpid(std::exchange(id_, 0), nullptr, 0), 0);
  }

 private:
  pid_t id_ = 0;
  int report_ = -1;
};

/// A name whose file a killed last user may have left: opened once more, it goes.
struct Name {
  const std::string text = freshName();
  ~Name() {
    Handle(makeMutex(text)).close();
    for (const auto& file : std::filesystem::directory_iterator("/dev/shm"))
      EXPECT_EQ(file.path().string().find(text), std::string::npos) << "left behind";
  }
  operator const std::string&() const { return text; }
};

TEST(Processes, KilledOnesAbandonTheirMutexAndLeaveTheNameFresh) {
  const Name name;
  Child owner([&] { return poll(makeMutex(name)) == WAIT_OBJECT_0; });
  ASSERT_TRUE(owner.succeeded());
  Child last([&] { return makeMutex(name) && GetLastError() == ERROR_ALREADY_EXISTS; });
  ASSERT_TRUE(last.succeeded());
  {
    const Handle mutex(makeMutex(name));
    EXPECT_EQ(WaitForSingleObject(mutex, 10), WAIT_TIMEOUT);
    owner.kill();
    EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_ABANDONED);
    EXPECT_TRUE(ReleaseMutex(mutex));
  }
  last.kill();
  const Handle fresh(makeEvent(TRUE, FALSE, name));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << "of another kind, and yet fresh";
}

// Processes come and go, some killed in the middle of it: whoever is inside must be alone.
TEST(Processes, OpeningAndClosingNeverSplitsAName) {
  const Name name, insideName, busyName;
  const Handle inside(makeSemaphore(0, 9, insideName));
  const Handle busy(makeSemaphore(0, 9, busyName));
  const auto comeAndGo = [&] {
    for (int i = 0; i < 300; ++i) {
      const HANDLE mutex = makeMutex(name);
      const DWORD taken = WaitForSingleObject(mutex, 20000);
      LONG before = -1;
      if ((taken != WAIT_OBJECT_0 && taken != WAIT_ABANDONED) ||
          !ReleaseSemaphore(inside, 1, &before) || before != 0 || poll(inside) != WAIT_OBJECT_0 ||
          !ReleaseMutex(mutex) || !CloseHandle(mutex))
        return false;
    }
    return true;
  };
  const Child one(comeAndGo), two(comeAndGo);
  for (int i = 0; i < 20; ++i) {
    const Child killed([&] {
      for (int k = 0;; ++k) {
        CloseHandle(makeMutex(name));
        if (k == i) ReleaseSemaphore(busy, 1, nullptr);
      }
      return false;
    });
    EXPECT_EQ(WaitForSingleObject(busy, 20000), WAIT_OBJECT_0);
  }
  EXPECT_TRUE(one.succeeded() && two.succeeded());
}

}  // namespace
}  // namespace orla
