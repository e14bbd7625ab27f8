#include <vector>

#include "NetTest.h"
#include "net/RWSocketPortal.h"
#include "net/RWTimedPortal.h"
#include "support/PortalFixture.h"

namespace orla {

TEST(RWPortal, TransfersFully) {
  const struct {
    int length, atLeast;
    const char *received, *sent;
  } kCases[] = {{6, -1, "abcdef", "ABCDEF"},
                {8, 3, "abcd", "ABCDEFGH"},
                {-5, 3, "", ""},
                {8, -1, "RWNetCantRecvError: failed to receive data from communications channel",
                 "ABCDEFGH"}};
  for (const auto& c : kCases) {
    const test::PortalFixture wire("abcdef", {2});
    RWCString buffer(8, '-'), written;
    bool more = false;
    const RWCString error = errorOf([&] {
      const int got = wire.portal().recvFully(buffer.data(), c.length, c.atLeast, &more);
      buffer.resize(static_cast<std::size_t>(got));
    });
    EXPECT_EQ(more ? buffer : error, c.received);
    wire.portal().sendFully("ABCDEFGH", c.length, c.atLeast);
    for (const RWCString& piece : wire.writes()) written += piece;
    EXPECT_EQ(written, c.sent);
  }
}

static std::vector<std::uint32_t> timeouts;  // Of each call of the portal beneath.

TEST(RWTimedPortal, AppliesItsTimeout) {
  constexpr std::uint32_t kUntimed = 77;
  struct NotingPortalImp : RWPortalImp {
    int note(std::uint32_t timeout) { return timeouts.push_back(timeout), 5; }
    int recv(char*, int, bool*) override { return note(kUntimed); }
    RWCString recv() override { return note(kUntimed), "r"; }
    int send(const char*, int) override { return note(kUntimed); }
    int recv(char*, int, bool*, std::uint32_t timeout) override { return note(timeout); }
    RWCString recv(std::uint32_t timeout) override { return note(timeout), "r"; }
    int send(const char*, int, std::uint32_t timeout) override { return note(timeout); }
  };
  const struct {
    std::uint32_t own, asked, untimed, timed;
  } kCases[] = {{5000, 10000, 5000, 5000}, {5000, 0, 5000, 0}, {0, 10000, kUntimed, 0}};
  for (const auto& [own, asked, u, t] : kCases) {
    const RWPortal portal = makeTimedPortal(RWPortal(new NotingPortalImp), own);
    timeouts.clear();
    EXPECT_EQ(portal.recv(nullptr, 0) + portal.send("", 0), 10);
    EXPECT_EQ(portal.recv(), "r");
    EXPECT_EQ(portal.recv(nullptr, 0, nullptr, asked) + portal.send("", 0, asked), 10);
    EXPECT_EQ(portal.recv(asked), "r");
    EXPECT_EQ(timeouts, (std::vector{u, u, u, t, t, t}));
  }
}

using RWSocketPortalTest = NetTest;
TEST_F(RWSocketPortalTest, TransfersOverTheSocketOrTimesOut) {
  const RWSocketPortal portal(client_, RWSocketPortal::ApplicationCloses);
  char buffer[8];
  const char* const kTimeoutText = "RWNetOperationTimeoutError: Network timeout exceeded";
  EXPECT_EQ(errorOf([&] { portal.recv(buffer, 1, nullptr, 999); }), kTimeoutText);
  EXPECT_EQ(errorOf([&] { makeTimedPortal(portal, 999).recv(); }), kTimeoutText);
  std::uint32_t on = 1;
  client_.ioctl(FIONBIO, &on), listener_.ioctl(FIONBIO, &on);
  bool more = false;  // Nothing there is no end.
  EXPECT_TRUE(portal.recv(buffer, 4, &more) == 0 && more && !listener_.accept().isValid());
  server_.send("abcdef", 6);
  EXPECT_EQ(portal.recv(buffer, 4, &more, 1000), 4);
  EXPECT_EQ(portal.recv(500), "ef");  // There already: a poll finds it.
  server_.shutdown(1);
  EXPECT_TRUE(portal.recv(buffer, 2, &more, 1000) == 0 && !more);

  EXPECT_EQ(portal.send("pong", 4, 1000), 4);
  while (portal.send(RWCString(1 << 20, 'x')) > 0) continue;
  EXPECT_EQ(errorOf([&] { portal.send("x", 1, 0); }), kTimeoutText);
}

TEST_F(RWSocketPortalTest, ClosesByItsPolicy) {
  { const RWSocketPortal application(client_, RWSocketPortal::ApplicationCloses); }
  EXPECT_EQ(client_.send("x", 1), 1);
  OwnedSocket accepted;
  {  // The last portal that shares the socket keeps it open.
    const RWPortal timed = makeTimedPortal(RWSocketPortal(listener_.getsockname()), 0);
    accepted = listener_.accept();
    EXPECT_EQ(timed.send("y"), 1);
  }
  EXPECT_EQ(accepted.recv() + accepted.recv(), "y");
  const RWSocket broken(0x7FFFFFF0);  // No such socket exists.
  EXPECT_THROW(RWSocketPortal{broken}, RWxmsg);
  EXPECT_EQ(errorOf([&] {
              const RWSocketPortal portal(broken);
              throw RWInternalErr("first");
            }),
            "first");
}

}  // namespace orla
