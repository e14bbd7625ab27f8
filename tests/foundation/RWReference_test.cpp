#include "foundation/RWReference.h"

#include <gtest/gtest.h>

#include "foundation/RWTValOrderedVector.h"

namespace orla {
namespace {

int destroyed, operations, failAt;

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

TEST(RWTValOrderedVector, KnowsItsBounds) {
  RWTValOrderedVector<int> vector;
  vector.insertAt(0, 1);
  EXPECT_THROW(vector[1], RWBoundsErr);
  EXPECT_THROW(vector.removeAt(1), RWBoundsErr);
  EXPECT_THROW(vector.insertAt(2, 0), RWBoundsErr);
  EXPECT_STREQ(RWBoundsErr(3, 2).why(), "[INDEX] Index (3) out of range [0->2]");
}

}  // namespace
}  // namespace orla
