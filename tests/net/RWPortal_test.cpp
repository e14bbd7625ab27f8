#include <algorithm>
#include <vector>

#include "NetTest.h"
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
  const char* const kCantRecv =
      "RWNetCantRecvError: failed to receive data from communications channel";
  const struct {
    int length, atLeast;
    const char *received, *sent;
  } kCases[] = {{6, -1, "abcdef", "ABCDEF"},
                {6, 200, "abcdef", "ABCDEF"},
                {8, 3, "abcd", "ABC"},
                {-5, 3, "", ""},
                {8, -1, kCantRecv, "ABCDEFGH"}};
  for (const auto& c : kCases) {
    auto* memory = new MemoryPortalImp;
    const RWPortal portal(memory);
    char buffer[8];
    bool more = false;
    RWCString received;
    received += raisedBy([&] {
      const int got = portal.recvFully(buffer, c.length, c.atLeast, &more);
      received.assign(buffer, static_cast<std::size_t>(got));
    });
    EXPECT_EQ(received, c.received);
    EXPECT_EQ(more, received != kCantRecv);
    const int sent = portal.sendFully("ABCDEFGH", c.length, c.atLeast);
    EXPECT_EQ(memory->sent.substr(0, static_cast<std::size_t>(sent)), c.sent);
    EXPECT_EQ(portal.send(RWCString("\0x", 2)) + portal.sendFully(RWCString("\0yyyy", 5)), 7);
    EXPECT_EQ(memory->sent, c.sent + RWCString("\0x\0yyyy", 7));
    memory->takes = 0;
    EXPECT_EQ(raisedBy([&] { portal.sendFully(RWCString("x")); }),
              "RWNetCantSendError: failed to send data into communications channel");
  }
  EXPECT_EQ(raisedBy([] { RWPortal().recv(); }),
            "RWNetNoChannelError: no underlying communications channel");
  EXPECT_EQ(raisedBy([] { MemoryPortalImp().RWPortalImp::recv(0); }),
            "RWNetTimeoutNotImplementedError: Timeout methods are not implemented");
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
    EXPECT_EQ(portal.recv(buffer, 4, &more[0]), 2);
    EXPECT_EQ(portal.recv(), "cd");
    EXPECT_EQ(portal.send("xyz", 2), 2);
    EXPECT_EQ(portal.recv(buffer, 4, &more[1], c.asked), 2);
    EXPECT_EQ(portal.recv(c.asked), "");
    EXPECT_EQ(portal.send("xyz", 3, c.asked), 3);
    EXPECT_TRUE(more[0] && more[1]);
    const auto u = c.untimed, t = c.timed;
    EXPECT_EQ(memory->timeouts, (std::vector{u, u, u, t, t, t}));
  }
}

}  // namespace
}  // namespace orla
