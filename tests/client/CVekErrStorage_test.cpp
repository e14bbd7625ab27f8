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
      }
    });
  }
}

}  // namespace
}  // namespace orla
