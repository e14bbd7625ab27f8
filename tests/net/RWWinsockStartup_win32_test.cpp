#include <gtest/gtest.h>

#include "net/RWWinsockStartup.h"

namespace orla {
namespace {

int timerCalls = 0;
void CALLBACK countTimer(HWND, UINT, UINT_PTR, DWORD) {
  ++timerCalls;
}

TEST(RWWinsockStartupWin32, PumpDispatchesOneMessageACall) {
  const UINT_PTR timer = SetTimer(nullptr, 0, 0x7FFFFFFF, countTimer);
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(PostThreadMessageA(GetCurrentThreadId(), WM_TIMER, timer,
                                   reinterpret_cast<LPARAM>(countTimer)));
  }
  EXPECT_TRUE(RWWinsockStartup::pumpMessage());
  EXPECT_EQ(timerCalls, 1);
  EXPECT_TRUE(RWWinsockStartup::pumpMessage());
  EXPECT_EQ(timerCalls, 2);
  EXPECT_FALSE(RWWinsockStartup::pumpMessage());
  KillTimer(nullptr, timer);
}

}  // namespace
}  // namespace orla
