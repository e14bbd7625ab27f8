#include "foundation/UnwindDetector.h"

#include <gtest/gtest.h>
#include <optional>

namespace orla {
namespace {

// Records what the detector returns in the destructor.
struct Recorder {
  explicit Recorder(std::optional<bool>& result) : result_(result) {}
  ~Recorder() { result_ = unwind_.isUnwinding(); }

  std::optional<bool>& result_;
  const UnwindDetector unwind_;
};

TEST(UnwindDetector, SeesOnlyAnExceptionThatPassesItsObject) {
  std::optional<bool> plain, passed, nested;
  // A destructor that runs during unwinding, and uses an object of its own without a failure.
  struct Nested {
    explicit Nested(std::optional<bool>& result) : result_(result) {}
    ~Nested() { const Recorder recorder(result_); }
    std::optional<bool>& result_;
  };
  { const Recorder recorder(plain); }
  try {
    const Nested user(nested);
    const Recorder recorder(passed);
    throw 1;
  } catch (int) {
  }
  EXPECT_EQ(plain, false);
  EXPECT_EQ(passed, true);
  EXPECT_EQ(nested, false);
}

}  // namespace
}  // namespace orla
