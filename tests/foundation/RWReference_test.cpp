#include "foundation/RWReference.h"

#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>
#include <utility>

namespace orla {
namespace {

std::atomic<int> deleted, acquired;
int operations, failAt;

template <class Lock>
struct Body : RWTCountingBody<Lock> {
  ~Body() override { ++deleted; }
};

// Throws from the operation number `failAt`.
struct FailingLock {
  void acquire() {
    if (++operations == failAt) throw failAt;
  }
  void release() { acquire(); }
};

TEST(RWTHandle, DeletesTheBodyOnceWhicheverLockOperationFails) {
  using Handle = RWTHandle<Body<FailingLock>>;
  for (failAt = 1; failAt == 1 || operations >= failAt - 1; ++failAt) {
    deleted = 0;
    operations = 0;
    try {
      Handle first(new Body<FailingLock>), second;
      second = first;
      first = Handle();
      first = Handle(std::move(second));
      EXPECT_EQ(deleted, 0);
    } catch (int) {
    }
    EXPECT_EQ(deleted, 1) << failAt;
  }
}

std::atomic<bool> isReleasing;

// The first release after the second acquire waits until a third acquire begins or the body is
// deleted.
struct SlowLock {
  void acquire() {
    ++acquired;
    mutex.lock();
  }
  void release() {
    if (acquired == 2) {
      isReleasing = true;
      while (acquired == 2 && deleted == 0) std::this_thread::yield();
      EXPECT_EQ(deleted, 0);
    }
    mutex.unlock();
  }
  std::mutex mutex;
};

TEST(RWTHandle, DeletesNoBodyThatAnotherThreadIsStillReleasing) {
  deleted = 0;
  RWTHandle<Body<SlowLock>> ours(new Body<SlowLock>), theirs = ours;
  std::thread other([&] { theirs = {}; });
  while (!isReleasing) std::this_thread::yield();
  ours = {};
  other.join();
  EXPECT_EQ(deleted, 1);
}

}  // namespace
}  // namespace orla
