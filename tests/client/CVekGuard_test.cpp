#include "client/CVekGuard.h"

#include "platform/winapi.h"

#include <cstring>
#include <future>
#include <random>
#include <string>

#include "gtest/gtest.h"

namespace orla {
namespace {

constexpr std::uint32_t kTaken = 0, kTakenAbandoned = 128, kTimedOut = 258;

/// Two guards that share their kernel objects, under a name that no other test uses.
class CVekGuardTest : public testing::Test {
 protected:
  CVekGuardTest() { EXPECT_TRUE(first.Create(suffix.c_str()) && second.Create(suffix.c_str())); }
  /// On a thread of its own, which ends without releasing what it took.
  std::uint32_t elsewhere(std::uint32_t (CVekGuard::*acquire)(std::uint32_t)) {
    return std::async(std::launch::async, acquire, &second, 0).get();
  }

  std::string suffix = "orla-test-" + std::to_string(std::random_device()()) + "-";
  CVekGuard first, second;
};

TEST_F(CVekGuardTest, CountsReadersThatTimedOutAndTellsOfAnAbandonedWriter) {
  EXPECT_EQ(first.AcquireWrite(0), kTaken);
  EXPECT_EQ(elsewhere(&CVekGuard::AcquireWrite), kTimedOut);
  EXPECT_EQ(elsewhere(&CVekGuard::AcquireRead), kTimedOut);
  first.ReleaseWrite();
  EXPECT_EQ(second.AcquireRead(0), kTaken);
  for (int inside = 2; inside > 0; --inside) {
    EXPECT_EQ(first.AcquireWrite(0), kTimedOut) << inside;
    first.ReleaseRead();
  }
  EXPECT_EQ(elsewhere(&CVekGuard::AcquireWrite), kTaken);
  EXPECT_EQ(first.AcquireRead(0), kTakenAbandoned);
  first.ReleaseRead();
  EXPECT_EQ(elsewhere(&CVekGuard::AcquireWrite), kTaken);
}

TEST_F(CVekGuardTest, RefusesWithoutAllItsKernelObjects) {
  first.Close();
  suffix.resize(259 - std::strlen("KT.SingleWriterMultiReaderGuard.EventNoReaders@"), 'x');
  EXPECT_TRUE(first.Create(suffix.c_str()));
  suffix += 'x';  // Makes the event's name, the longest of the three, one of 260 characters.
  EXPECT_FALSE(first.Create(suffix.c_str()));
  EXPECT_FALSE(CVekWriterLock().Lock(&first) || CVekReaderLock().Lock(&first));
  first.ReleaseRead();
}

}  // namespace
}  // namespace orla
