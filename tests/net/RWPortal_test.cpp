#include <algorithm>
#include <optional>
#include <vector>

#include "NetTest.h"
#include "net/RWSocketPortal.h"
#include "net/RWTimedPortal.h"

namespace orla {
namespace {

constexpr std::uint32_t kUntimed = 77;

/// Gives two bytes a receive, takes at most `takes` a send, and notes the time-out of each call.
struct MemoryPortalImp : RWPortalImp {
  int recv(char* buffer, int n, bool* more) override { return recv(buffer, n, more, kUntimed); }
  RWCString recv() override { return recv(kUntimed); }
  int send(const char* buffer, int n) override { return send(buffer, n, kUntimed); }
  int recv(char* buffer, int n, bool* more, std::uint32_t timeout) override {
    if (more) *more = true;
    return static_cast<int>(recv(timeout).copy(buffer, static_cast<std::size_t>(n)));
  }
  RWCString recv(std::uint32_t timeout) override {
    timeouts.push_back(timeout);
    const RWCString piece = incoming.substr(0, 2);
    incoming.erase(0, 2);
    return piece;
  }
  int send(const char* buffer, int n, std::uint32_t timeout) override {
    timeouts.push_back(timeout);
    sent.append(buffer, static_cast<std::size_t>(std::min(n, takes)));
    return std::min(n, takes);
  }

  int takes = 3;
  RWCString incoming = "abcdef", sent;
  std::vector<std::uint32_t> timeouts;
};

TEST(RWPortal, TransfersFully) {
  const struct {
    int length, atLeast;
    const char *received, *sent;
  } kCases[] = {{6, -1, "abcdef", "ABCDEF"},
                {8, 3, "abcd", "ABC"},
                {-5, 3, "", ""},
                {8, -1, "RWNetCantRecvError: failed to receive data from communications channel",
                 "ABCDEFGH"}};
  for (const auto& c : kCases) {
    auto* memory = new MemoryPortalImp;
    const RWPortal portal(memory);
    char buffer[8];
    bool more = false;
    int got = -1;
    const RWCString error =
        errorOf([&] { got = portal.recvFully(buffer, c.length, c.atLeast, &more); });
    EXPECT_EQ(got < 0 ? error : RWCString(buffer, static_cast<std::size_t>(got)), c.received);
    EXPECT_EQ(more, got >= 0);
    const int sent = portal.sendFully("ABCDEFGH", c.length, c.atLeast);
    EXPECT_EQ(memory->sent.substr(0, static_cast<std::size_t>(sent)), c.sent);
    EXPECT_EQ(portal.send(RWCString("\0x", 2)) + portal.sendFully(RWCString("\0yyyy", 5)), 7);
    EXPECT_EQ(memory->sent, c.sent + RWCString("\0x\0yyyy", 7));
    memory->takes = 0;
    EXPECT_EQ(errorOf([&] { portal.sendFully(RWCString("x")); }),
              "RWNetCantSendError: failed to send data into communications channel");
  }
}

TEST(RWTimedPortal, AppliesItsTimeout) {
  const struct {
    std::uint32_t own, asked, untimed, timed;
  } kCases[] = {{5000, 10000, 5000, 5000}, {5000, 0, 5000, 0}, {0, 10000, kUntimed, 0}};
  for (const auto& c : kCases) {
    auto* memory = new MemoryPortalImp;
    const RWPortal portal = makeTimedPortal(RWPortal(memory), c.own);
    char buffer[4];
    bool more[2] = {};
    EXPECT_EQ(portal.recv(buffer, 4, &more[0]) + portal.send("xyz", 2), 4);
    EXPECT_EQ(portal.recv(), "cd");
    EXPECT_EQ(portal.recv(buffer, 4, &more[1], c.asked) + portal.send("xyz", 3, c.asked), 5);
    EXPECT_EQ(portal.recv(c.asked), "");
    EXPECT_TRUE(more[0] && more[1]);
    const auto u = c.untimed, t = c.timed;
    EXPECT_EQ(memory->timeouts, (std::vector{u, u, u, t, t, t}));
  }
}

using RWSocketPortalTest = LoopbackTest;
TEST_F(RWSocketPortalTest, TransfersOverTheSocketOrTimesOut) {
  const RWSocketPortal portal(client_, RWSocketPortal::ApplicationCloses);
  char buffer[8];
  bool more = false;
  EXPECT_EQ(portal.send("ping") + portal.send("pong", 4, 1000), 8);
  EXPECT_EQ(server_.recvFully(8), "pingpong");
  const char* const kTimeoutText = "RWNetOperationTimeoutError: Network timeout exceeded";
  EXPECT_EQ(errorOf([&] { portal.recv(buffer, 1, nullptr, 999); }), kTimeoutText);
  EXPECT_EQ(errorOf([&] { makeTimedPortal(portal, 999).recv(); }), kTimeoutText);

  server_.send("abcdef", 6);
  EXPECT_EQ(portal.recv(buffer, 4, &more, 500), 4);  // There already: a poll finds it.
  EXPECT_TRUE(more);
  EXPECT_EQ(portal.recv(500), "ef");
  server_.shutdown(1);
  EXPECT_EQ(portal.recv(buffer, 2, &more), 0);
  EXPECT_FALSE(more);

  setBlocking(client_, false);
  while (portal.send(RWCString(1 << 20, 'x')) > 0) {
  }
  EXPECT_EQ(errorOf([&] { portal.send("x", 1, 0); }), kTimeoutText);
}

TEST_F(RWSocketPortalTest, ClosesByItsPolicy) {
  { const RWSocketPortal application(client_, RWSocketPortal::ApplicationCloses); }
  std::optional<RWPortal> timed = makeTimedPortal(RWSocketPortal(client_), 0);
  EXPECT_EQ(timed->send("y"), 1);  // The last portal that shares the socket keeps it open.
  timed.reset();
  EXPECT_EQ(errorOf([&] { client_.send("z", 1); }), "RWSocketError: in RWSocket::send: NOTSOCK");
  EXPECT_EQ(server_.recv() + server_.recv(), "y");

  OwnedSocket accepted;
  {
    const RWSocketPortal portal(addressOf(listener_));
    static_cast<RWSocket&>(accepted) = listener_.accept();
  }
  EXPECT_EQ(accepted.recv(), "");
}

TEST_F(RWSocketPortalTest, RaisesAFailedCloseUnlessUnwinding) {
  const RWSocket broken(0x7FFFFFF0);  // No such socket exists.
  EXPECT_THROW(RWSocketPortal{broken}, RWxmsg);
  EXPECT_EQ(errorOf([&] {
              const RWSocketPortal portal(broken);
              throw RWInternalErr("first");
            }),
            "first");
}

}  // namespace
}  // namespace orla
