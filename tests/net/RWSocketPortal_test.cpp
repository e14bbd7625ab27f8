#include "net/RWSocketPortal.h"

#include <optional>

#include "NetTest.h"
#include "net/RWTimedPortal.h"

namespace orla {
namespace {

using RWSocketPortalTest = LoopbackTest;

TEST_F(RWSocketPortalTest, TransfersOverTheSocketOrTimesOut) {
  const RWSocketPortal portal(client_, RWSocketPortal::ApplicationCloses);
  char buffer[8];
  bool more = false;
  EXPECT_EQ(portal.send("ping") + portal.send("pong", 4, 1000), 8);
  EXPECT_EQ(server_.recvFully(8), "pingpong");
  const char* const kTimeoutText = "RWNetOperationTimeoutError: Network timeout exceeded";
  EXPECT_EQ(raisedBy([&] { portal.recv(buffer, 1, nullptr, 999); }), kTimeoutText);
  EXPECT_EQ(raisedBy([&] { makeTimedPortal(portal, 999).recv(); }), kTimeoutText);

  server_.send("abcdef", 6);
  EXPECT_EQ(portal.recv(buffer, 4, &more, 500), 4);  // There already: a poll finds it.
  EXPECT_TRUE(more);
  EXPECT_EQ(portal.recv(500), "ef");
  server_.shutdown(1);
  EXPECT_EQ(portal.recv(buffer, 2, &more), 0);
  EXPECT_FALSE(more);
  EXPECT_EQ(portal.recv(), "");

  setBlocking(client_, false);
  while (portal.send(RWCString(1 << 20, 'x')) > 0) {
  }
  EXPECT_EQ(raisedBy([&] { portal.send("x", 1, 0); }), kTimeoutText);
}

TEST_F(RWSocketPortalTest, ClosesByItsPolicy) {
  { const RWSocketPortal application(client_, RWSocketPortal::ApplicationCloses); }
  std::optional<RWPortal> timed = makeTimedPortal(RWSocketPortal(client_), 0);
  EXPECT_EQ(timed->send("y"), 1);  // The last portal that shares the socket keeps it open.
  timed.reset();
  EXPECT_EQ(raisedBy([&] { client_.send("z", 1); }), "RWSocketError: in RWSocket::send: NOTSOCK");
  EXPECT_EQ(server_.recv() + server_.recv(), "y");

  OwnedSocket accepted;
  {
    const RWSocketPortal portal(addressOf(listener_));
    static_cast<RWSocket&>(accepted) = listener_.accept();
    EXPECT_EQ(portal.socket().text(), addressOf(portal.socket()).text() + "-->" + listener_.text());
  }
  EXPECT_EQ(accepted.recv(), "");
}

TEST_F(RWSocketPortalTest, RaisesAFailedCloseUnlessUnwinding) {
  const RWSocket broken(0x7FFFFFF0);  // No such socket exists.
  EXPECT_EQ(raisedBy([&] { RWSocketPortal{broken}; }),
            "RWSocketError: in RWSocket::closesocket: NOTSOCK");
  EXPECT_EQ(raisedBy([&] {
              const RWSocketPortal portal(broken);
              throw RWInternalErr("first");
            }),
            "first");
}

}  // namespace
}  // namespace orla
