#include "net/RWSocket.h"

#include <functional>
#include <vector>

#include "NetTest.h"
#include "net/RWNetErrors.h"
#include "net/RWSocketAttribute.h"

namespace orla {
namespace {

using RWSocketTest = NetTest;
using RWSocketStreamTest = LoopbackTest;
using Condition = RWSocketAttribute::Condition;

TEST_F(RWSocketTest, NamesTheOperationThatFailed) {
  RWSocket none;
  char byte = 0;
  std::uint32_t value = 0;
  int length = sizeof value;
  const struct {
    const char* error;
    std::function<void()> action;
  } kCases[] = {
      {"listen: NOTSOCK", [&] { none.listen(1); }},
      {"accept: NOTSOCK", [&] { none.accept(); }},
      {"recv: NOTSOCK", [&] { none.recv(&byte, 1); }},
      {"recvfrom: NOTSOCK", [&] { none.recvfrom(&byte, 1); }},
      {"send: NOTSOCK", [&] { none.send(&byte, 1); }},
      {"sendto: NOTSOCK", [&] { none.sendto(&byte, 1, loopback(9)); }},
      {"recv: FAULT", [&] { none.recv(&byte, -1); }},
      {"recvfrom: FAULT", [&] { none.recvfrom(&byte, -1); }},
      {"send: FAULT", [&] { none.send(&byte, -1); }},
      {"sendto: FAULT", [&] { none.sendto(&byte, -1, loopback(9)); }},
      {"shutdown: NOTSOCK", [&] { none.shutdown(2); }},
      {"setsockopt: NOTSOCK", [&] { none.setsockopt(SOL_SOCKET, SO_KEEPALIVE, &value, 4); }},
      {"getsockopt: NOTSOCK", [&] { none.getsockopt(SOL_SOCKET, SO_TYPE, &value, &length); }},
      {"ioctl: NOTSOCK", [&] { none.ioctl(FIONBIO, &value); }},
      {"getpeername: NOTSOCK", [&] { none.getpeername(); }},
      {"getsockname: NOTSOCK", [&] { none.getsockname(); }},
      {"closesocket: NOTSOCK", [&] { none.close(); }},
      {"socket: AFNOSUPPORT", [&] {
         none.socket({99, SOCK_STREAM, 0});
       }}};
  for (const auto& c : kCases) {
    EXPECT_EQ(raisedBy(c.action), RWCString("RWSocketError: in RWSocket::") + c.error);
  }
  EXPECT_EQ(none.text(), "invalid");
}

TEST_F(RWSocketTest, FailedConnectAndBindLeaveNoSocketBehind) {
  OwnedSocket reserved;  // Bound, and so nobody else's, but not listening.
  reserved.bind(loopback(0));
  const RWInetAddr closedPort = addressOf(reserved);

  RWSocket fresh;
  EXPECT_EQ(raisedBy([&] { fresh.connect(closedPort); }),
            "RWSocketError: in RWSocket::connect: CONNREFUSED");
  EXPECT_EQ(raisedBy([&] { fresh.bind(closedPort); }),
            "RWSocketError: in RWSocket::bind: ADDRINUSE");
  EXPECT_THROW(fresh.connect(RWInetAddr("127.0.0.1:no-such-service")), RWInetServiceNotFoundError);
  EXPECT_FALSE(fresh.isValid());

  OwnedSocket made;
  made.socket(RWSockKind());
  const RWSocket::Handle handle = made.handle();
  EXPECT_THROW(made.connect(closedPort), RWSocketError);
  EXPECT_EQ(made.handle(), handle);
}

TEST_F(RWSocketStreamTest, RefusesAnAddressOfAnotherType) {
  OwnedSocket stream;
  stream.socket(RWSockKind());
  const RWInetAddr datagram = loopback(addressOf(listener_).port().number(), SOCK_DGRAM);
  EXPECT_EQ(
      raisedBy([&] { stream.connect(datagram); }),
      "RWSockTypeChangeError: Socket of type inet:stream can't be changed to type inet:dgram");
  EXPECT_THROW(stream.bind(datagram), RWSockTypeChangeError);
  EXPECT_EQ(stream.text(), "no address");
}

TEST_F(RWSocketStreamTest, TellsItsAddresses) {
  const RWCString client = client_.getsockname().text(), server = listener_.text();
  EXPECT_EQ(client_.text(), client + "-->" + server);
  EXPECT_EQ(server_.text(), server + "-->" + client);
  OwnedSocket second;
  second.connect(addressOf(listener_));
  RWSockAddr peer;
  OwnedSocket accepted(listener_.accept(&peer));
  EXPECT_EQ(peer.text(), second.getsockname().text());

  const RWSocket copy = accepted;
  accepted.close();
  EXPECT_FALSE(accepted.isValid());
  EXPECT_THROW(copy.getpeername(), RWSocketError);
}

TEST_F(RWSocketStreamTest, TellsEndOfStreamFromNothingThere) {
  char buffer[8];
  bool more = false;
  setBlocking(client_, false);
  EXPECT_EQ(client_.recv(buffer, 8, 0, &more), 0);
  EXPECT_TRUE(more);
  EXPECT_EQ(client_.recv(), "");
  setBlocking(listener_, false);
  EXPECT_FALSE(listener_.accept().isValid());

  setBlocking(client_, true);
  server_.send("a\0c", 3);
  server_.shutdown(1);
  EXPECT_EQ(client_.recv(), RWCString("a\0c", 3));
  EXPECT_EQ(client_.recv(buffer, 8, 0, &more), 0);
  EXPECT_FALSE(more);
}

TEST_F(RWSocketStreamTest, ReceivesAndSendsFully) {
  EXPECT_EQ(server_.sendFully("0123456789", 10), 10);
  EXPECT_EQ(server_.sendFully("0", -1), 0);
  EXPECT_THROW(server_.sendFully("0", 0, 1), RWNetCantSendError);
  char buffer[4];
  EXPECT_EQ(client_.recvFully(buffer, 4, 4), 4);
  EXPECT_EQ(client_.recvFully(-1), "");
  EXPECT_THROW(client_.recvFully(buffer, 3, 5), RWNetCantRecvError);  // Full after "456".
  EXPECT_EQ(client_.recvFully(3), "789");

  const RWCString large(5000, 'y');
  server_.sendFully(large.data(), 5000);
  EXPECT_EQ(client_.recvFully(5000), large);
  server_.send("yz", 2);
  server_.shutdown(1);
  RWSockAddr from = client_.getpeername();
  EXPECT_EQ(client_.recvfrom(buffer, 1, &from), 1);
  EXPECT_FALSE(from.isValid());  // A stream names no sender.
  EXPECT_THROW(client_.recvFully(2), RWNetCantRecvError);
}

TEST_F(RWSocketTest, ExchangesDatagrams) {
  OwnedSocket left, right;
  left.bind(loopback(0, SOCK_DGRAM));
  right.bind(loopback(0, SOCK_DGRAM));
  EXPECT_EQ(left.sendto("ping", 4, right.getsockname()), 4);
  char buffer[8];
  RWSockAddr from;
  EXPECT_EQ(right.recvfrom(buffer, 8, &from), 4);
  EXPECT_EQ(from.text(), left.text());

  right.connect(from);  // Of type dgram, like the socket.
  EXPECT_EQ(right.send("answer", 6), 6);
  EXPECT_EQ(raisedBy([&] { left.recvfrom(buffer, 2); }),
            "RWSocketError: in RWSocket::recvfrom: MSGSIZE");
  bool more = false;
  setBlocking(left, false);
  EXPECT_EQ(left.recvfrom(buffer, 8, &from, 0, &more), 0);
  EXPECT_TRUE(more);
  EXPECT_FALSE(from.isValid());
}

TEST(SelectSeconds, DropsFractions) {
  const struct {
    double seconds;
    std::optional<std::int32_t> whole;
  } kCases[] = {{-0.001, std::nullopt},
                {0, 0},
                {0.999, 0},
                {1.0, 1},
                {1.999, 1},
                {2147483646.5, 2147483646},
                {1e300, 2147483647},
                {300.5, 300}};
  for (const auto& c : kCases) EXPECT_EQ(selectSeconds(c.seconds), c.whole) << c.seconds;
}

TEST_F(RWSocketStreamTest, WaitReportsReadersThenWritersEachFromTheLast) {
  OwnedSocket connecting;
  connecting.socket(RWSockKind());
  setBlocking(connecting, false);
  connecting.connect(addressOf(listener_));
  server_.send("x", 1);

  RWSocketAttributes waited;
  waited.append({server_, Condition::CanRead | Condition::Exceptional});
  EXPECT_TRUE(selectSockets(waited, 0.999).isEmpty());
  using Found = std::vector<std::pair<RWSocket::Handle, int>>;
  Found found;
  for (const auto& ready :
       {RWSocketAttribute{client_, Condition::CanRead | Condition::CanWrite},
        RWSocketAttribute{listener_, Condition::CanAccept},
        RWSocketAttribute{connecting, Condition::Connected | Condition::Exceptional}}) {
    RWSocketAttributes alone;
    alone.append({ready.socket, ready.conditions & ~Condition::CanWrite});
    ASSERT_EQ(selectSockets(alone, -1).entries(), 1u);  // Ready, and stays so.
    waited.append(ready);
  }
  for (const auto& ready : selectSockets(waited, -1)) {
    found.emplace_back(ready.socket.handle(), ready.conditions);
  }
  EXPECT_EQ(found, (Found{{listener_.handle(), 33},
                          {client_.handle(), 33},
                          {connecting.handle(), 10},
                          {client_.handle(), 10}}));
}

TEST_F(RWSocketTest, WaitRaisesWhatCannotBeWaitedFor) {
  RWSocketAttributes waited;
  EXPECT_EQ(raisedBy([&] { selectSockets(waited, 0); }), "RWNetSelectError: INVAL");
  waited.append({RWSocket(), Condition::CanRead});
  EXPECT_EQ(raisedBy([&] { selectSockets(waited, 0); }), "RWNetSelectError: NOTSOCK");
  for (RWSocket::Handle handle = 0x40000000; waited.entries() <= kMaxSelectSockets; ++handle) {
    waited.append({RWSocket(handle), Condition::CanRead});
  }
  EXPECT_EQ(raisedBy([&] { selectSockets(waited, 0); }), "RWNetSelectError: INVAL");
}

}  // namespace
}  // namespace orla
