#include "net/RWPortal.h"

#include <algorithm>
#include <cstring>
#include <deque>

#include "NetTest.h"
#include "net/RWTimedPortal.h"

namespace orla {
namespace {

constexpr char kCantRecv[] =
    "RWNetCantRecvError: failed to receive data from communications channel";
constexpr char kCantSend[] = "RWNetCantSendError: failed to send data into communications channel";

/// Gives one of its pieces a receive, takes at most `takes` bytes a send, and notes the time-out of
/// each call, "-" for none.
class MemoryPortalImp : public RWPortalImp {
 public:
  explicit MemoryPortalImp(bool* destroyed = nullptr) : destroyed_(destroyed) {}
  ~MemoryPortalImp() override {
    if (destroyed_) *destroyed_ = true;
  }

  int recv(char* buffer, int n, bool* more) override { return take("buffer -;", buffer, n, more); }
  RWCString recv() override { return take("string -;"); }
  int send(const char* buffer, int n) override { return give("send -;", buffer, n); }
  int recv(char* buffer, int n, bool* more, std::uint32_t timeout) override {
    return take("buffer " + std::to_string(timeout) + ";", buffer, n, more);
  }
  RWCString recv(std::uint32_t timeout) override {
    return take("string " + std::to_string(timeout) + ";");
  }
  int send(const char* buffer, int n, std::uint32_t timeout) override {
    return give("send " + std::to_string(timeout) + ";", buffer, n);
  }

  std::deque<RWCString> pieces;
  int takes = 3;
  RWCString sent;
  RWCString calls;

 private:
  RWCString take(const RWCString& call) {
    calls += call;
    if (pieces.empty()) return "";
    const RWCString piece = pieces.front();
    pieces.pop_front();
    return piece;
  }
  int take(const RWCString& call, char* buffer, int n, bool* more) {
    if (more) *more = !pieces.empty();
    const RWCString piece = take(call).substr(0, static_cast<std::size_t>(n));
    std::memcpy(buffer, piece.data(), piece.size());
    return static_cast<int>(piece.size());
  }
  int give(const RWCString& call, const char* buffer, int n) {
    calls += call;
    sent.append(buffer, static_cast<std::size_t>(std::min(n, takes)));
    return std::min(n, takes);
  }

  bool* destroyed_;
};

TEST(RWPortal, CopiesShareTheImplementation) {
  bool destroyed = false;
  {
    RWPortal first(new MemoryPortalImp(&destroyed));
    RWPortal second = makeTimedPortal(std::move(first), 0);
    first = RWPortal();
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(second.recv(), "");
  }
  EXPECT_TRUE(destroyed);
}

TEST(RWPortal, WithoutChannelOrTimeouts) {
  const RWPortal none;
  MemoryPortalImp timeless;
  char byte = 0;
  for (const auto& error :
       {raisedBy([&] { none.recv(&byte, 1); }), raisedBy([&] { none.recv(); }),
        raisedBy([&] { none.recv(&byte, 1, nullptr, 0); }), raisedBy([&] { none.recv(0); }),
        raisedBy([&] { none.send("a", 1); }), raisedBy([&] { none.send("a", 1, 0); })}) {
    EXPECT_EQ(error, "RWNetNoChannelError: no underlying communications channel");
  }
  for (const auto& error : {raisedBy([&] { timeless.RWPortalImp::recv(&byte, 1, nullptr, 0); }),
                            raisedBy([&] { timeless.RWPortalImp::recv(0); }),
                            raisedBy([&] { timeless.RWPortalImp::send("a", 1, 0); })}) {
    EXPECT_EQ(error, "RWNetTimeoutNotImplementedError: Timeout methods are not implemented");
  }
}

TEST(RWPortal, TransfersFully) {
  const struct {
    int length;
    int atLeast;
    const char* received;  // From pieces of two bytes; null when they run out.
    const char* sent;      // Three bytes a time.
  } kCases[] = {{6, -1, "abcdef", "ABCDEF"},
                {6, 200, "abcdef", "ABCDEF"},
                {8, 3, "abcd", "ABC"},
                {8, 4, "abcd", "ABCDEF"},
                {6, 0, "", ""},
                {-1, -1, "", ""},
                {-5, 3, "", ""},
                {8, -1, nullptr, "ABCDEFGH"}};
  for (const auto& c : kCases) {
    auto* memory = new MemoryPortalImp;
    const RWPortal portal(memory);
    memory->pieces = {"ab", "cd", "ef"};
    char buffer[8];
    bool more = false;
    RWCString received;
    EXPECT_EQ(raisedBy([&] {
                const int got = portal.recvFully(buffer, c.length, c.atLeast, &more);
                received.assign(buffer, static_cast<std::size_t>(got));
              }),
              c.received ? "" : kCantRecv);
    EXPECT_EQ(received, c.received ? c.received : "");
    EXPECT_EQ(more, c.received != nullptr);

    const int sent = portal.sendFully("ABCDEFGH", c.length, c.atLeast);
    EXPECT_EQ(memory->sent.substr(0, static_cast<std::size_t>(sent)), c.sent);
    memory->takes = 0;
    EXPECT_EQ(raisedBy([&] { portal.sendFully(RWCString("x")); }), kCantSend);
  }

  auto* memory = new MemoryPortalImp;
  const RWPortal portal(memory);
  EXPECT_EQ(portal.send(RWCString("a\0bc", 4)), 3);
  EXPECT_EQ(portal.sendFully(RWCString("d\0ef", 4)), 4);
  EXPECT_EQ(memory->sent, RWCString("a\0bd\0ef", 7));
}

TEST(RWTimedPortal, AppliesItsTimeout) {
  const struct {
    std::uint32_t own;
    std::uint32_t asked;
    const char* calls;  // Untimed, then timed with `asked`.
  } kCases[] = {
      {5000, 10000, "buffer 5000;string 5000;send 5000;buffer 5000;string 5000;send 5000;"},
      {5000, 4999, "buffer 5000;string 5000;send 5000;buffer 4999;string 4999;send 4999;"},
      {5000, 0, "buffer 5000;string 5000;send 5000;buffer 0;string 0;send 0;"},
      {0, 10000, "buffer -;string -;send -;buffer 0;string 0;send 0;"},
      {1, 0xFFFFFFFF, "buffer 1;string 1;send 1;buffer 1;string 1;send 1;"}};
  for (const auto& c : kCases) {
    auto* memory = new MemoryPortalImp;
    memory->pieces = {"abc", "text", "de", "more"};
    const RWPortal portal = makeTimedPortal(RWPortal(memory), c.own);
    char buffer[4];
    bool more[2] = {};
    EXPECT_EQ(portal.recv(buffer, 4, &more[0]), 3);
    EXPECT_EQ(portal.recv(), "text");
    EXPECT_EQ(portal.send("xyz", 2), 2);
    EXPECT_EQ(portal.recv(buffer, 4, &more[1], c.asked), 2);
    EXPECT_EQ(portal.recv(c.asked), "more");
    EXPECT_EQ(portal.send("xyz", 3, c.asked), 3);
    EXPECT_TRUE(more[0] && more[1]);
    EXPECT_EQ(memory->calls, c.calls);
    EXPECT_EQ(memory->sent, "xyxyz");
  }
}

}  // namespace
}  // namespace orla
