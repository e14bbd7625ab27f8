#include "foundation/RWReference.h"

#include <gtest/gtest.h>
#include <new>

namespace orla {
namespace {

int allocated, destroyed;

// Raises from its operation number `failAt`.
struct FailingLock {
  static inline int failAt = 0, operations = 0;
  void acquire() {
    if (++operations == failAt) throw failAt;
  }
  void release() { acquire(); }
};

struct Body : RWTCountingBody<FailingLock> {
  explicit Body(bool raise) : raise_(raise) {}
  ~Body() noexcept(false) override {
    ++destroyed;
    if (raise_) throw 1;
  }
  static void* operator new(std::size_t size) {
    ++allocated;
    return ::operator new(size);
  }
  static void operator delete(void* memory) {
    --allocated;
    ::operator delete(memory);
  }
  bool raise_;
};

TEST(RWTHandle, FreesTheBodyOnceWhicheverLockOperationFails) {
  bool failed = true;
  for (FailingLock::failAt = 1; failed; ++FailingLock::failAt) {
    SCOPED_TRACE(FailingLock::failAt);
    destroyed = FailingLock::operations = 0;
    try {
      RWTHandle<Body> first(new Body(false));
      RWTHandle<Body> second;
      second = first;
      first = RWTHandle<Body>();
      const RWTHandle<Body> third = std::move(second);
      first = third;
      EXPECT_EQ(destroyed, 0);
      EXPECT_TRUE(first && !second);
    } catch (int) {
    }
    failed = FailingLock::operations >= FailingLock::failAt;
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(allocated, 0);
  }
  EXPECT_GT(FailingLock::failAt, 12) << "every operation failed in its turn";
}

TEST(RWTHandle, FreesABodyThatRaises) {
  FailingLock::failAt = 0;
  EXPECT_THROW(RWTHandle<Body>(new Body(true)), int);
  EXPECT_EQ(allocated, 0);
  RWTHandle<Body> handle(new Body(true));
  EXPECT_THROW(handle = RWTHandle<Body>(), int);
  EXPECT_EQ(allocated, 0);
  EXPECT_FALSE(handle);
}

}  // namespace
}  // namespace orla
