#include "client/CVekErrStorage.h"

#include "platform/winapi.h"

#include <list>
#include <thread>

#include "gtest/gtest.h"

namespace orla {
namespace {

// Entries come and go below a thread's own one between its search and its access.
TEST(CVekErrStorage, ThreadsDoNotDisturbOneAnother) {
  CVekErrStorage storage("test");
  std::list<std::jthread> threads;
  for (std::uint32_t code = 1; code <= 6; ++code) {
    threads.emplace_back([&storage, code] {
      for (int round = 0; round < 20000 && !testing::Test::HasFailure(); ++round) {
        EXPECT_EQ(storage.GetErrorCode(), CVekErrStorage::kNoCode);
        EXPECT_TRUE(storage.SetErrorCode(code));
        EXPECT_EQ(storage.GetErrorCode(), code);
        EXPECT_TRUE(storage.RemoveEntry());
        EXPECT_FALSE(storage.RemoveEntry());
      }
    });
  }
}

struct Storage : CVekErrStorage {
  using CVekErrStorage::Add;
  using CVekErrStorage::CVekErrStorage;
};

TEST(CVekErrStorage, RemovingOneEntryKeepsTheOthersInOrder) {
  constexpr std::uint32_t kOthers = 0xFFFF0000;  // No thread's identifiers.
  Storage storage("test");
  storage.Add(new CVekErrEntry{0, kOthers});
  EXPECT_EQ(storage.EnsureEntry(), 1);
  for (std::uint32_t i = 1; i < 12; ++i) storage.Add(new CVekErrEntry{0, kOthers + i});
  EXPECT_TRUE(storage.RemoveEntry());
  for (std::int32_t i = 0; i < 12; ++i)
    EXPECT_EQ(storage.FindEntry(kOthers + static_cast<std::uint32_t>(i)), i);
}

}  // namespace
}  // namespace orla
