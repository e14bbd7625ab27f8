#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>

#include "foundation/RWCString.h"
#include "foundation/RWReference.h"

namespace orla {

TEST(RWCString, KnowsAsciiAndBlanksAlone) {
  EXPECT_EQ(toLowerAscii(RWCString("@AZ[\xC4`z{\0Z", 10)), RWCString("@az[\xC4`z{\0z", 10));
  EXPECT_FALSE(equalIgnoringCase("host", "hos") || equalIgnoringCase("hos", "host"));
  EXPECT_EQ(stripLeadingBlanks(" \ta "), "\ta ");
  EXPECT_EQ(stripTrailingBlanks(" a\t "), " a\t");
  EXPECT_EQ(stripLeadingBlanks("  ").size() + stripTrailingBlanks("  ").size(), 0U);
}

static int destroyed, operations, failAt;

// Raises from its operation number `failAt`.
struct FailingLock {
  void acquire() {
    if (++operations == failAt) throw failAt;
  }
  void release() { acquire(); }
};

struct Body : RWTCountingBody<FailingLock> {
  ~Body() override { ++destroyed; }
};

TEST(RWTHandle, FreesTheBodyOnceWhicheverLockOperationFails) {
  for (failAt = 1; failAt == 1 || operations >= failAt - 1; ++failAt) {
    destroyed = operations = 0;
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

static std::atomic<int> comers, gone;
static std::atomic<bool> letsGo;

// Its first release after the second acquire lasts until another thread comes, or frees the body.
struct SlowLock {
  void acquire() {
    ++comers;
    mutex.lock();
  }
  void release() {
    if (comers == 2) {
      letsGo = true;
      while (comers == 2 && gone == 0) std::this_thread::yield();
      EXPECT_EQ(gone, 0);
    }
    mutex.unlock();
  }
  std::mutex mutex;
};

struct SharedBody : RWTCountingBody<SlowLock> {
  ~SharedBody() override { ++gone; }
};

TEST(RWTHandle, FreesNoBodyThatAnotherThreadIsStillLettingGoOf) {
  RWTHandle<SharedBody> ours(new SharedBody), theirs = ours;
  std::thread other([&] { theirs = RWTHandle<SharedBody>(); });
  while (!letsGo) std::this_thread::yield();
  ours = RWTHandle<SharedBody>();
  other.join();
  EXPECT_EQ(gone, 1);
}

}  // namespace orla
