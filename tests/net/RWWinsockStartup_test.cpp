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

bool isWinsockDown() {
  return WSACleanup() == SOCKET_ERROR && WSAGetLastError() == WSANOTINITIALISED;
}

TEST(RWWinsockStartup, StartsAndCleansUp) {
  {
    const RWWinsockStartup outer;
    EXPECT_EQ(outer.data().wVersion, 0x0101);
    { const RWWinsockStartup inner; }
    OwnedSocket().socket(RWSockKind());
  }
  EXPECT_TRUE(isWinsockDown());
}

TEST(RWWinsockStartup, SetsTheHookWhileItLives) {
  const RWWinsockStartup plain;
  const FARPROC pump = procedure(RWWinsockStartup::pumpMessage);
  const FARPROC before = WSASetBlockingHook(procedure(idle));
  {
    const RWWinsockStartup pumping(0);
    EXPECT_EQ(WSASetBlockingHook(pump), pump);
    EXPECT_FALSE(RWWinsockStartup::pumpMessage());  // No message waits.
    const RWWinsockStartup idling(idle);
    EXPECT_EQ(WSASetBlockingHook(pump), procedure(idle));
  }
  EXPECT_EQ(WSASetBlockingHook(before), procedure(idle));
}

TEST(RWWinsockStartup, UnknownHookLeavesWinsockDown) {
  for (const int number : {-1, 1}) {
    EXPECT_EQ(raisedBy([&] { RWWinsockStartup{number}; }),
              "RWNetNoSuchBlockingHookError: no hook " + std::to_string(number));
    EXPECT_TRUE(isWinsockDown());
  }
}

TEST(RWWinsockStartup, RaisesAFailedCleanUpUnlessUnwinding) {
  const auto lifeOf = [](bool unwinding) {
    const RWWinsockStartup startup;
    WSACleanup();
    if (unwinding) throw RWInternalErr("first");
  };
  EXPECT_EQ(raisedBy([&] { lifeOf(false); }), "RWNetWinsockInitError: NOTINITIALISED");
  EXPECT_EQ(raisedBy([&] { lifeOf(true); }), "first");
}

TEST(RWWinsockStartup, PumpTellsAnEmptyQueue) {
  EXPECT_FALSE(RWWinsockStartup::pumpMessage());
}

}  // namespace
}  // namespace orla
