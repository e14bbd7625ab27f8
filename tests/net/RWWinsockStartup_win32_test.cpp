#include <gtest/gtest.h>

#include "net/RWWinsockStartup.h"

namespace orla {
namespace {

int timerCalls = 0;
void CALLBACK countTimer(HWND, UINT, UINT_PTR, DWORD) {
  ++timerCalls;
}

TEST(RWWinsockStartup, PumpDispatchesOneMessageACall) {
  timerCalls = 0;
  const UINT_PTR timer = SetTimer(nullptr, 0, 0x7FFFFFFF, countTimer);
  for (int i = 0; i < 2; ++i) {
    PostThreadMessageA(GetCurrentThreadId(), WM_TIMER, timer, reinterpret_cast<LPARAM>(countTimer));
  }
  for (int calls = 1; calls <= 2; ++calls) {
    EXPECT_TRUE(RWWinsockStartup::pumpMessage());
    EXPECT_EQ(timerCalls, calls);
  }
  EXPECT_FALSE(RWWinsockStartup::pumpMessage());
  KillTimer(nullptr, timer);
}

}  // namespace
}  // namespace orla
