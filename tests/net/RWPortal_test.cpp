#include <chrono>
#include <future>
#include <vector>

#include "NetTest.h"
#include "net/RWSocketPortal.h"
#include "net/RWTimedPortal.h"
#include "support/PortalFixture.h"

namespace orla {

TEST(RWPortal, ReceivesThroughAByteWithoutTakingTheNext) {
  const test::PortalFixture wire("ab;cd", {0, 1});
  const RWPortal timed = makeTimedPortal(wire.portal(), 0);
  RWCString text;
  bool more = false;
  EXPECT_EQ(timed.recvThrough(';', text, 100, &more), 0U);
  EXPECT_TRUE(more) << "a pause looks like the end";
  while (!text.ends_with(';')) EXPECT_EQ(timed.recvThrough(';', text, 100), 1U);
  EXPECT_EQ(text, "ab;");
  EXPECT_EQ(wire.unread(), "cd");
}

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

// Records the timeout of each call, kUntimed for the calls without one.
struct RecordingPortalImp : RWPortalImp {
  static constexpr std::uint32_t kUntimed = 77;
  static inline std::vector<std::uint32_t> timeouts;

  static int record(std::uint32_t timeout) {
    timeouts.push_back(timeout);
    return 5;
  }
  int recv(char*, int, bool*) override { return record(kUntimed); }
  RWCString recv() override { return std::to_string(record(kUntimed)); }
  int send(const char*, int) override { return record(kUntimed); }
  int recv(char*, int, bool*, std::uint32_t timeout) override { return record(timeout); }
  RWCString recv(std::uint32_t timeout) override { return std::to_string(record(timeout)); }
  int send(const char*, int, std::uint32_t timeout) override { return record(timeout); }
};

TEST(RWTimedPortal, AppliesItsTimeout) {
  constexpr std::uint32_t kUntimed = RecordingPortalImp::kUntimed;
  const struct {
    std::uint32_t own, asked, untimed, timed;
  } kCases[] = {{5000, 10000, 5000, 5000}, {5000, 0, 5000, 0}, {0, 10000, kUntimed, 0}};
  for (const auto& [own, asked, u, t] : kCases) {
    const RWPortal portal = makeTimedPortal(RWPortal(new RecordingPortalImp), own);
    RecordingPortalImp::timeouts.clear();
    EXPECT_EQ(portal.recv(nullptr, 0), 5);
    EXPECT_EQ(portal.send("", 0), 5);
    EXPECT_EQ(portal.recv(), "5");
    EXPECT_EQ(portal.recv(nullptr, 0, nullptr, asked), 5);
    EXPECT_EQ(portal.send("", 0, asked), 5);
    EXPECT_EQ(portal.recv(asked), "5");
    EXPECT_EQ(RecordingPortalImp::timeouts, (std::vector{u, u, u, t, t, t}));
  }
}

struct RWSocketPortalTest : NetTest {
  ~RWSocketPortalTest() noexcept override = default;
  const RWSocketPortal portal{client_, RWSocketPortal::ApplicationCloses};
};

TEST_F(RWSocketPortalTest, TimedCallsFailIfTheSocketIsNotReady) {
  constexpr char kTimeoutText[] = "RWNetOperationTimeoutError: Network timeout exceeded";
  char buffer[8];
  EXPECT_EQ(errorOf([&] { portal.recv(buffer, 1, nullptr, 999); }), kTimeoutText);
  EXPECT_EQ(errorOf([&] { makeTimedPortal(portal, 999).recv(); }), kTimeoutText);
  client_.setBlocking(false);
  while (portal.send(RWCString(1 << 20, 'x')) > 0) {
  }
  EXPECT_EQ(errorOf([&] { portal.send("x", 1, 0); }), kTimeoutText);
}

TEST_F(RWSocketPortalTest, TransfersOverTheSocketAndTellsAPauseFromTheEnd) {
  char buffer[8];
  client_.setBlocking(false);
  bool more = false;
  EXPECT_EQ(portal.recv(buffer, 4, &more), 0);
  EXPECT_TRUE(more);
  listener_.setBlocking(false);
  EXPECT_FALSE(listener_.accept().isValid());
  server_.send("abcdef", 6);
  EXPECT_EQ(portal.recv(buffer, 4, &more, 1000), 4);
  EXPECT_EQ(portal.recv(500), "ef") << "a poll did not find the bytes that had arrived";
  server_.shutdown(1);
  EXPECT_EQ(portal.recv(buffer, 2, &more, 1000), 0);
  EXPECT_FALSE(more);
  EXPECT_EQ(portal.send("pong", 4, 1000), 4);
}

TEST_F(RWSocketPortalTest, ConnectsInTimeAndThenBlocks) {
  const RWSocketPortal timed(listener_.getsockname(), 5000);
  OwnedSocket accepted;
  accepted = listener_.accept();
  const auto reader = std::async(std::launch::async, [&] { return timed.recv(); });
  EXPECT_EQ(reader.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout)
      << "a receive without data returned";
  accepted.send("x", 1);
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
  EXPECT_EQ(accepted.recv(), "y");
  EXPECT_EQ(accepted.recv(), "");
  const RWSocket broken(0x7FFFFFF0);  // No such socket exists.
  EXPECT_THROW(RWSocketPortal{broken}, RWxmsg);
  const auto failWhileUnwinding = [&] {
    const RWSocketPortal closing(broken);
    throw RWInternalErr("first");
  };
  EXPECT_EQ(errorOf(failWhileUnwinding), "first");
}

}  // namespace orla
