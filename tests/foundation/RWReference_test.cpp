#include "foundation/RWReference.h"

#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>
#include <utility>

namespace orla {
namespace {

int destroyed, operations, failAt;

// Throws from the operation number `failAt`.
struct FailingLock {
  void acquire() {
    if (++operations == failAt) throw failAt;
  }
  void release() { acquire(); }
};

struct Body : RWTCountingBody<FailingLock> {
  ~Body() override { ++destroyed; }
};

TEST(RWTHandle, DeletesTheBodyOnceWhicheverLockOperationFails) {
  for (failAt = 1; failAt == 1 || operations >= failAt - 1; ++failAt) {
    destroyed = 0;
    operations = 0;
    try {
      RWTHandle<Body> first(new Body), second;
      second = first;
      first = RWTHandle<Body>();
      first = RWTHandle<Body>(std::move(second));
      EXPECT_EQ(destroyed, 0);
    } catch (int) {
    }
    EXPECT_EQ(destroyed, 1) << failAt;
  }
}

std::atomic<int> acquired, deleted;
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

struct SharedBody : RWTCountingBody<SlowLock> {
  ~SharedBody() override { ++deleted; }
};

TEST(RWTHandle, DeletesNoBodyThatAnotherThreadIsStillReleasing) {
  RWTHandle<SharedBody> ours(new SharedBody), theirs = ours;
  std::thread other([&] { theirs = RWTHandle<SharedBody>(); });
  while (!isReleasing) std::this_thread::yield();
  ours = RWTHandle<SharedBody>();
  other.join();
  EXPECT_EQ(deleted, 1);
}

}  // namespace
}  // namespace orla
