#include "client/CVekGuard.h"

#include "platform/winapi.h"

#include <cstring>
#include <filesystem>
#include <functional>
#include <future>
#include <random>
#include <string>

#include "gtest/gtest.h"

namespace orla {
namespace {

constexpr std::uint32_t kForever = 0xFFFFFFFF;
constexpr std::uint32_t kTaken = 0;
constexpr std::uint32_t kTakenAbandoned = 128;
constexpr std::uint32_t kTimedOut = 258;
constexpr std::uint32_t kFailed = 0xFFFFFFFF;

constexpr char kMutexName[] = "KT.SingleWriterMultiReaderGuard.MutexNoWriter@";
constexpr char kEventName[] = "KT.SingleWriterMultiReaderGuard.EventNoReaders@";

/// Two guards that share their kernel objects, under a name that no other test uses.
class CVekGuardTest : public testing::Test {
 protected:
  void SetUp() override {
    suffix = "orla-test-" + std::to_string(std::random_device()()) + "-";
    ASSERT_TRUE(first.Create(suffix.c_str()));
    ASSERT_TRUE(second.Create(suffix.c_str()));
  }
  /// Runs `operation` of the second guard on a thread of its own, to its end.
  std::uint32_t elsewhere(std::uint32_t (CVekGuard::*operation)(std::uint32_t)) {
    return std::async(std::launch::async, operation, &second, 0).get();
  }
  bool writerGetsIn() {
    return std::async(std::launch::async,
                      [this] {
                        const bool in = second.TryAcquireWrite(0);
                        if (in) second.ReleaseWrite();
                        return in;
                      })
        .get();
  }
  void expectRefused(CVekGuard* guard) {
    EXPECT_FALSE(CVekWriterLock().Lock(guard));
    EXPECT_FALSE(CVekReaderLock().Lock(guard));
    if (!guard) return;
    EXPECT_EQ(guard->AcquireWrite(kForever), kFailed);
    EXPECT_EQ(guard->AcquireRead(kForever), kFailed);
    guard->ReleaseWrite();
    guard->ReleaseRead();
  }

  std::string suffix;
  CVekGuard first, second;
};

TEST_F(CVekGuardTest, WriterWaitsForTheLastReader) {
  EXPECT_EQ(first.AcquireRead(0), kTaken);
  EXPECT_EQ(second.AcquireRead(0), kTaken);
  auto writer = std::async(std::launch::async, [this] {
    const std::uint32_t result = second.AcquireWrite(kForever);
    second.ReleaseWrite();
    return result;
  });
  EXPECT_EQ(elsewhere(&CVekGuard::AcquireWrite), kTimedOut);
  first.ReleaseRead();
  EXPECT_FALSE(writerGetsIn()) << "one reader is still inside";
  first.ReleaseRead();
  EXPECT_EQ(writer.get(), kTaken);
  EXPECT_TRUE(writerGetsIn());
}

TEST_F(CVekGuardTest, WriterKeepsOthersOutAndReadersThatTimedOutCount) {
  ASSERT_EQ(first.AcquireWrite(0), kTaken);
  EXPECT_FALSE(writerGetsIn());
  EXPECT_EQ(elsewhere(&CVekGuard::AcquireRead), kTimedOut);
  first.ReleaseWrite();
  EXPECT_FALSE(writerGetsIn());
  second.ReleaseRead();
  EXPECT_TRUE(writerGetsIn());
}

TEST_F(CVekGuardTest, AbandonedGuardCountsAsTaken) {
  ASSERT_EQ(elsewhere(&CVekGuard::AcquireWrite), kTaken);
  EXPECT_EQ(first.AcquireRead(0), kTakenAbandoned);
  first.ReleaseRead();
  ASSERT_EQ(elsewhere(&CVekGuard::AcquireWrite), kTaken);
  EXPECT_TRUE(CVekWriterLock().Lock(&first));
  EXPECT_TRUE(writerGetsIn());
}

TEST_F(CVekGuardTest, ScopesTakeTheGuardOnceAndGiveItBack) {
  {
    CVekReaderLock lock;
    EXPECT_TRUE(lock.Lock(&first));
    EXPECT_FALSE(lock.Lock(&first));
    EXPECT_TRUE(CVekReaderLock().Lock(&second));
    EXPECT_FALSE(writerGetsIn());
  }
  EXPECT_TRUE(writerGetsIn());
  CVekWriterLock lock;
  EXPECT_TRUE(lock.Lock(&first));
  EXPECT_FALSE(lock.Lock(&first));
  EXPECT_FALSE(writerGetsIn());
}

TEST_F(CVekGuardTest, RefusesWithoutAllItsKernelObjects) {
  expectRefused(nullptr);
  first.Close();
  expectRefused(&first);

  suffix.resize(259 - std::strlen(kEventName), 'x');
  EXPECT_TRUE(first.Create(suffix.c_str()));
  suffix += 'x';  // Makes the event's name, the longest of the three, one of 260 characters.
  EXPECT_FALSE(first.Create(suffix.c_str()));
  expectRefused(&first);
  const HANDLE mutex = CreateMutexA(nullptr, FALSE, (kMutexName + suffix).c_str());
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << "the mutex that was made is given back";
  CloseHandle(mutex);

  ASSERT_TRUE(first.Create(nullptr)) << "objects without a name";
  EXPECT_TRUE(first.TryAcquireRead(0));
  EXPECT_FALSE(first.TryAcquireWrite(0));
  EXPECT_TRUE(writerGetsIn());
  first.ReleaseRead();
}

// The second process is this program once more, up to the expectation: so the suffix must be the
// same in both, and the build folder's own.
TEST(CVekGuardDeathTest, ProcessesShareTheGuard) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::size_t folder = std::hash<std::string>()(std::filesystem::current_path().string());
  CVekGuard guard;
  ASSERT_TRUE(guard.Create(("orla-test-processes-" + std::to_string(folder)).c_str()));
  const std::uint32_t result = guard.AcquireWrite(0);
  EXPECT_EXIT(std::_Exit(result == kTimedOut ? 7 : 1), testing::ExitedWithCode(7), "");
  EXPECT_EQ(result, kTaken);
  guard.ReleaseWrite();
}

}  // namespace
}  // namespace orla
