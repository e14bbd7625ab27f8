#include "platform/winapi.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace orla {
namespace {

// The threads spin, since a call of the system's, to wait, could set the error.
TEST(LastError, IsEachThreadsOwnAndShared) {
  std::atomic<bool> set{false};
  std::atomic<bool> setElsewhere{false};
  DWORD fresh = 77;
  DWORD other = 77;
  std::thread thread([&] {
    fresh = GetLastError();
    while (!set) {
    }
    WSASetLastError(WSAETIMEDOUT);
    other = GetLastError();
    setElsewhere = true;
  });
  SetLastError(5);
  set = true;
  while (!setElsewhere) {
  }
  const DWORD mine = GetLastError();
  EXPECT_EQ(WSAGetLastError(), 5);
  thread.join();
  EXPECT_EQ(mine, 5U);
  EXPECT_EQ(fresh, 0U);
  EXPECT_EQ(other, 10060U);
}

TEST(ThreadId, IsStableAndItsOwnThreads) {
  const DWORD mine = GetCurrentThreadId();
  EXPECT_NE(mine, 0U);
  EXPECT_EQ(GetCurrentThreadId(), mine);
  std::thread([=] { EXPECT_NE(GetCurrentThreadId(), mine); }).join();
}

TEST(CriticalSection, KeepsThreadsApartAndIsRecursive) {
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int k = 0; k < 5000; ++k) {
        EnterCriticalSection(&section);
        EnterCriticalSection(&section);
        LeaveCriticalSection(&section);
        ++count;
        LeaveCriticalSection(&section);
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(count, 20000);
  DeleteCriticalSection(&section);
}

}  // namespace
}  // namespace orla
