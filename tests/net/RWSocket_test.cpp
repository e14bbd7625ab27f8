#include "net/RWSocket.h"

#include <functional>
#include <vector>

#include "NetTest.h"
#include "net/RWNetErrors.h"
#include "net/RWSocketAttribute.h"

namespace orla {

using RWSocketTest = LoopbackTest;
using Condition = RWSocketAttribute::Condition;

TEST_F(RWSocketTest, NamesTheOperationThatFailed) {
  RWSocket none;
  char byte = 0;
  const std::pair<const char*, std::function<void()>> kCases[] = {
      {"accept: NOTSOCK", [&] { none.accept(); }},
      {"recv: FAULT", [&] { none.recv(&byte, -1); }},
      {"recvfrom: FAULT", [&] { none.recvfrom(&byte, -1); }},
      {"send: FAULT", [&] { none.send(&byte, -1); }},
      {"sendto: FAULT", [&] { none.sendto(&byte, -1, loopback(9)); }},
      {"socket: AFNOSUPPORT", [&] {
         none.socket({99, SOCK_STREAM, 0});
       }}};
  for (const auto& [error, action] : kCases)
    EXPECT_EQ(errorOf(action), RWCString("RWSocketError: in RWSocket::") + error);
  EXPECT_EQ(winsockErrorName(11004), "NO_ADDRESS");
  EXPECT_EQ(winsockErrorName(-1), "-1");
}

TEST_F(RWSocketTest, ConnectsAndBindsAsTheAddressAsks) {
  OwnedSocket reserved;  // Bound, and so nobody else's, but not listening.
  reserved.bind(loopback(0));
  const RWInetAddr closedPort = addressOf(reserved);
  RWSocket fresh;
  EXPECT_EQ(errorOf([&] { fresh.connect(closedPort); }),
            "RWSocketError: in RWSocket::connect: CONNREFUSED");
  EXPECT_EQ(errorOf([&] { fresh.bind(closedPort); }),
            "RWSocketError: in RWSocket::bind: ADDRINUSE");
  EXPECT_EQ(fresh.text(), "invalid");
  EXPECT_EQ(client_.text(), client_.getsockname().text() + "-->" + listener_.text());

  OwnedSocket made;
  made.socket(RWSockKind());
  EXPECT_EQ(made.text(), "no address");
  EXPECT_THROW(made.connect(closedPort), RWSocketError);
  EXPECT_EQ(
      errorOf([&] { made.bind(loopback(0, SOCK_DGRAM)); }),
      "RWSockTypeChangeError: Socket of type inet:stream can't be changed to type inet:dgram");
}

TEST_F(RWSocketTest, TellsEndOfStreamFromNothingThere) {
  char byte = 0;
  bool more = false;
  setBlocking(client_, false);
  EXPECT_EQ(client_.recv(&byte, 1, 0, &more), 0);
  EXPECT_TRUE(more);
  setBlocking(listener_, false);
  EXPECT_FALSE(listener_.accept().isValid());
  setBlocking(client_, true);
  server_.shutdown(1);
  EXPECT_EQ(client_.recv(&byte, 1, 0, &more), 0);
  EXPECT_FALSE(more);
}

TEST_F(RWSocketTest, ReceivesAndSendsFully) {
  const RWCString large(5000, 'y');
  EXPECT_EQ(server_.sendFully("01\0", 3) + server_.sendFully(large.data(), 5000), 5003);
  EXPECT_EQ(server_.sendFully("0", -1), 0);
  EXPECT_THROW(server_.sendFully("0", 0, 1), RWNetCantSendError);
  char buffer[3];
  EXPECT_THROW(client_.recvFully(buffer, 3, 5), RWNetCantRecvError);  // Full before.
  EXPECT_EQ(client_.recvFully(5000), large);
  server_.send("yz", 2);
  server_.shutdown(1);
  RWSockAddr from = client_.getpeername();
  EXPECT_EQ(client_.recvfrom(buffer, 1, &from), 1);
  EXPECT_FALSE(from.isValid());  // A stream names no sender.
  EXPECT_THROW(client_.recvFully(2), RWNetCantRecvError);
}

TEST_F(RWSocketTest, WaitReportsReadersThenWritersEachFromTheLast) {
  OwnedSocket second;
  second.connect(addressOf(listener_));
  server_.send("x", 1);
  RWSocketAttributes waited;
  waited.append({server_, Condition::CanRead | Condition::Exceptional});
  EXPECT_TRUE(selectSockets(waited, 0.999).isEmpty());
  for (const auto& ready :
       {RWSocketAttribute{client_, Condition::CanRead}, {listener_, Condition::CanAccept}}) {
    RWSocketAttributes alone;
    alone.append(ready);
    ASSERT_EQ(selectSockets(alone, -1).entries(), 1u);  // Ready, and stays so.
    waited.append(ready);
  }
  waited.append({second, Condition::Connected | Condition::Exceptional});
  waited.append({client_, Condition::CanWrite});
  std::vector<std::pair<RWSocket::Handle, int>> found;
  for (const auto& [socket, bits] : selectSockets(waited, -1))
    found.push_back({socket.handle(), bits});
  const auto listener = listener_.handle(), client = client_.handle();
  EXPECT_EQ(found,
            (decltype(found){{listener, 33}, {client, 33}, {client, 10}, {second.handle(), 10}}));
}

TEST_F(RWSocketTest, WaitKnowsItsLimits) {
  EXPECT_EQ(selectSeconds(-0.001), std::nullopt);
  EXPECT_EQ(selectSeconds(1.999), 1);
  EXPECT_EQ(selectSeconds(1e300), 2147483647);
  RWSocketAttributes waited;
  waited.append({RWSocket(), Condition::CanRead});
  EXPECT_EQ(errorOf([&] { selectSockets(waited, 0); }), "RWNetSelectError: NOTSOCK");
  for (RWSocket::Handle handle = 0x40000000; waited.entries() <= kMaxSelectSockets; ++handle) {
    waited.append({RWSocket(handle), Condition::CanRead});
  }
  EXPECT_EQ(errorOf([&] { selectSockets(waited, 0); }), "RWNetSelectError: INVAL");
}

}  // namespace orla
