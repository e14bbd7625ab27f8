#include "client/CVekErrStorage.h"

#include "platform/winapi.h"

#include <atomic>
#include <future>
#include <list>
#include <new>
#include <thread>
#include <vector>

#include "gtest/gtest.h"

namespace orla {
namespace {

/// Whoever calls this has a code of its own, and none before and after.
void expectOwnCode(CVekErrStorage& storage, std::uint32_t code) {
  EXPECT_EQ(storage.GetErrorCode(), CVekErrStorage::kNoCode);
  EXPECT_GE(storage.EnsureEntry(), 0);
  EXPECT_EQ(storage.GetErrorCode(), 0u);
  EXPECT_TRUE(storage.SetErrorCode(code));
  EXPECT_EQ(storage.GetErrorCode(), code);
  EXPECT_TRUE(storage.RemoveEntry());
  EXPECT_FALSE(storage.RemoveEntry());
}

// Entries come and go below a thread's own one between its search and its access.
TEST(CVekErrStorage, ThreadsDoNotDisturbOneAnother) {
  CVekErrStorage storage("test");
  std::list<std::jthread> threads;
  for (std::uint32_t code = 1; code <= 6; ++code) {
    threads.emplace_back([&storage, code] {
      for (int round = 0; round < 40000 && !testing::Test::HasFailure(); ++round) {
        expectOwnCode(storage, code);
      }
    });
  }
}

TEST(CVekErrStorage, RemovingOneEntryKeepsTheOthersInOrder) {
  struct Caller {
    std::promise<std::uint32_t> entered;
    std::promise<void> leaves;
    std::thread thread;
    std::uint32_t threadId;
  };
  CVekErrStorage storage("test");
  std::list<Caller> callers(12);  // More than the list's growth step.
  for (Caller& caller : callers) {
    caller.thread = std::thread([&] {
      EXPECT_TRUE(storage.SetErrorCode(GetCurrentThreadId()));
      caller.entered.set_value(GetCurrentThreadId());
      caller.leaves.get_future().wait();
      EXPECT_EQ(storage.GetErrorCode(), GetCurrentThreadId());
      EXPECT_TRUE(storage.RemoveEntry());
    });
    caller.threadId = caller.entered.get_future().get();
  }
  for (const int leaving : {4, 10, 0, 3, 7, 1, 0, 0, 1, 1, 0, 0}) {
    std::int32_t index = 0;
    for (const Caller& caller : callers) EXPECT_EQ(storage.FindEntry(caller.threadId), index++);
    const auto caller = std::next(callers.begin(), leaving);
    caller->leaves.set_value();
    caller->thread.join();
    EXPECT_EQ(storage.FindEntry(caller->threadId), -1);
    callers.erase(caller);
  }
}

TEST(CVekErrStorage, OutOfMemoryRefusesTheEntry) {
  struct : CVekErrStorage {
    using CVekErrStorage::CVekErrStorage;
    CVekErrEntry** Add(CVekErrEntry*) override {
      if (noneForTheList) throw eaNoMemory;
      throw std::bad_alloc();
    }
    bool noneForTheList = false;
  } storage("test");
  for (const bool noneForTheList : {false, true}) {
    storage.noneForTheList = noneForTheList;
    EXPECT_EQ(storage.EnsureEntry(), -1);
    EXPECT_FALSE(storage.SetErrorCode(5));
    EXPECT_EQ(storage.GetErrorCode(), CVekErrStorage::kNoCode);
    EXPECT_FALSE(storage.RemoveEntry());
  }
}

}  // namespace
}  // namespace orla
