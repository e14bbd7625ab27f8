#include "net/RWSocketPortal.h"

#include <optional>

#include "NetTest.h"
#include "net/RWTimedPortal.h"

namespace orla {
namespace {

using RWSocketPortalTest = LoopbackTest;

constexpr char kTimeoutText[] = "RWNetOperationTimeoutError: Network timeout exceeded";

TEST_F(RWSocketPortalTest, TransfersOverTheSocket) {
  const RWSocketPortal portal(client_, RWSocketPortal::ApplicationCloses);
  char buffer[8];
  bool more = false;
  EXPECT_EQ(portal.send("ping") + portal.send("pong", 4, 1000), 8);
  EXPECT_EQ(server_.recvFully(8), "pingpong");

  server_.send("abcdef", 6);
  EXPECT_EQ(portal.recv(buffer, 4, &more, 500), 4);  // There already: a poll finds it.
  EXPECT_TRUE(more);
  EXPECT_EQ(portal.recv(500), "ef");

  server_.shutdown(1);
  EXPECT_EQ(portal.recv(buffer, 2, &more), 0);
  EXPECT_FALSE(more);
  EXPECT_EQ(portal.recv(), "");
}

TEST_F(RWSocketPortalTest, TimesOut) {
  const RWSocketPortal portal(client_, RWSocketPortal::ApplicationCloses);
  char byte = 0;
  EXPECT_EQ(raisedBy([&] { portal.recv(&byte, 1, nullptr, 999); }), kTimeoutText);
  EXPECT_EQ(raisedBy([&] { makeTimedPortal(portal, 999).recv(); }), kTimeoutText);

  setBlocking(client_, false);
  const RWCString block(1 << 20, 'x');
  for (int calls = 0; portal.send(block) > 0 && calls < 1000; ++calls) {
  }
  EXPECT_EQ(raisedBy([&] { portal.send(&byte, 1, 0); }), kTimeoutText);
}

TEST_F(RWSocketPortalTest, ClosesByItsPolicy) {
  { const RWSocketPortal application(client_, RWSocketPortal::ApplicationCloses); }
  EXPECT_EQ(client_.send("x", 1), 1);

  std::optional<RWPortal> timed = makeTimedPortal(RWSocketPortal(client_), 0);
  EXPECT_EQ(timed->send("y"), 1);  // The last portal that shares the socket keeps it open.
  timed.reset();
  EXPECT_EQ(raisedBy([&] { client_.send("z", 1); }), "RWSocketError: in RWSocket::send: NOTSOCK");
  EXPECT_EQ(server_.recvFully(2), "xy");
  EXPECT_EQ(server_.recv(), "");
}

TEST_F(RWSocketPortalTest, ConnectsToAnAddress) {
  OwnedSocket accepted;
  {
    const RWSocketPortal portal(addressOf(listener_));
    static_cast<RWSocket&>(accepted) = listener_.accept();
    EXPECT_EQ(portal.socket().text(), addressOf(portal.socket()).text() + "-->" + listener_.text());
    EXPECT_EQ(portal.sendFully(RWCString("hello")), 5);
  }
  EXPECT_EQ(accepted.recvFully(5), "hello");
  EXPECT_EQ(accepted.recv(), "");
}

TEST_F(RWSocketPortalTest, RaisesAFailedCloseUnlessUnwinding) {
  const RWSocket broken(0x7FFFFFF0);  // No such socket exists.
  EXPECT_EQ(raisedBy([&] { RWSocketPortal{broken}; }),
            "RWSocketError: in RWSocket::closesocket: NOTSOCK");
  const auto unwind = [&] {
    const RWSocketPortal portal(broken);
    throw RWInternalErr("first");
  };
  EXPECT_EQ(raisedBy(unwind), "first");
  EXPECT_EQ(raisedBy([] { RWSocketPortal{RWSocket()}; }), "");
}

/// A portal whose wait gives a value of the test's.
struct WaitingPortalImp : RWSocketPortalImp {
  WaitingPortalImp(const RWSocket& socket, int waitGives)
      : RWSocketPortalImp(socket, RWSocketPortalBase::ApplicationCloses), result(waitGives) {}
  int waitReady(int, std::uint32_t) override { return result; }
  const int result;
};

TEST_F(RWSocketPortalTest, KnowsTheResultsOfItsWait) {
  for (const int ready : {-1, 1}) {
    EXPECT_EQ(RWPortal(new WaitingPortalImp(server_, ready)).send("ab", 2, 0), 2);
    EXPECT_EQ(RWPortal(new WaitingPortalImp(client_, ready)).recv(0), "ab");
  }
  for (const int unknown : {-2, 2}) {
    const RWPortal portal(new WaitingPortalImp(client_, unknown));
    EXPECT_EQ(raisedBy([&] { portal.recv(0); }), "Unexpected return value from recv");
    EXPECT_EQ(raisedBy([&] { portal.send("a", 1, 0); }), "Unexpected return value from send");
  }
}

}  // namespace
}  // namespace orla
