#include "net/RWWinsockStartup.h"

#include "NetTest.h"

namespace orla {

TEST(RWWinsockStartup, SetsTheHookForItsLifetime) {
  const RWWinsockStartup plain;
  const auto procedure = [](auto call) {
    return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(call));
  };
  const FARPROC pump = procedure(RWWinsockStartup::pumpMessage), other = procedure(WSACleanup);
  const FARPROC before = WSASetBlockingHook(other);
  {
    const RWWinsockStartup pumping(0);
    EXPECT_EQ(WSASetBlockingHook(pump), pump);
  }
  EXPECT_EQ(WSASetBlockingHook(before), other);
}

TEST(RWWinsockStartup, CleansUpWhatItStarted) {
  const auto lifeOf = [](bool unwinding) {
    const RWWinsockStartup startup;
    WSACleanup();
    if (unwinding) throw RWInternalErr("first");
  };
  EXPECT_EQ(errorOf([] { RWWinsockStartup{1}; }), "RWNetNoSuchBlockingHookError: no hook 1");
  EXPECT_EQ(errorOf([] { const RWWinsockStartup startup; }), "nothing thrown");
  EXPECT_EQ(errorOf([&] { lifeOf(false); }), "RWNetWinsockInitError: NOTINITIALISED");
  EXPECT_EQ(errorOf([&] { lifeOf(true); }), "first");
}

}  // namespace orla
