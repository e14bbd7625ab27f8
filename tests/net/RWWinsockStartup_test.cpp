#include "net/RWWinsockStartup.h"

#include "NetTest.h"

namespace orla {
namespace {

BOOL CALLBACK idle() {
  return FALSE;
}

FARPROC procedure(RWWinsockStartup::BlockingHook hook) {
  return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(hook));
}

TEST(RWWinsockStartup, SetsTheHookWhileItLives) {
  const RWWinsockStartup plain;
  const FARPROC pump = procedure(RWWinsockStartup::pumpMessage);
  const FARPROC before = WSASetBlockingHook(procedure(idle));
  {
    const RWWinsockStartup pumping(0);
    EXPECT_EQ(WSASetBlockingHook(pump), pump);
    const RWWinsockStartup idling(idle);
    EXPECT_EQ(WSASetBlockingHook(pump), procedure(idle));
  }
  EXPECT_EQ(WSASetBlockingHook(before), procedure(idle));
}

TEST(RWWinsockStartup, CleansUpWhatItStarted) {
  const auto lifeOf = [](bool unwinding) {
    const RWWinsockStartup startup;
    WSACleanup();
    if (unwinding) throw RWInternalErr("first");
  };
  EXPECT_EQ(errorOf([] { RWWinsockStartup{1}; }), "RWNetNoSuchBlockingHookError: no hook 1");
  { const RWWinsockStartup startup; }
  EXPECT_EQ(errorOf([&] { lifeOf(false); }), "RWNetWinsockInitError: NOTINITIALISED");
  EXPECT_EQ(errorOf([&] { lifeOf(true); }), "first");
}

}  // namespace
}  // namespace orla
