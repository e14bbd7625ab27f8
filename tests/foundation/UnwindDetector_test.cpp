#include "foundation/UnwindDetector.h"

#include <gtest/gtest.h>

namespace orla {
namespace {

// Compares the detector's result in the destructor.
struct Checker {
  ~Checker() { EXPECT_EQ(unwind.isUnwinding(), expected); }
  const bool expected;
  const UnwindDetector unwind{};
};

// Its destructor runs during unwinding, and uses an object of its own without a failure.
struct Nested {
  ~Nested() { const Checker inside{false}; }
};

TEST(UnwindDetector, SeesOnlyAnExceptionThatPassesItsObject) {
  const Checker plain{false};
  try {
    const Nested nested;
    const Checker passed{true};
    throw 1;
  } catch (int) {
  }
}

}  // namespace
}  // namespace orla
