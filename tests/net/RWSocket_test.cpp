#include "net/RWSocket.h"

#include <functional>
#include <vector>

#include "NetTest.h"
#include "net/RWNetErrors.h"
#include "net/RWSocketAttribute.h"

namespace orla {

using RWSocketTest = NetTest;
using Condition = RWSocketAttribute::Condition;

TEST_F(RWSocketTest, NamesTheOperationThatFailed) {
  RWSocket none, fresh;
  OwnedSocket made;
  char byte = 0;
  made.socket(RWSockKind());
  EXPECT_EQ(made.text(), "no address");
  made.bind(RWInetAddr("127.0.0.1:0"));
  const RWSockAddr taken = made.getsockname();  // Nobody listens there.
  const std::pair<const char*, std::function<void()>> kCases[] = {
      {"accept: NOTSOCK", [&] { none.accept(); }},
      {"recv: FAULT", [&] { none.recv(&byte, -1); }},
      {"recvfrom: FAULT", [&] { none.recvfrom(&byte, -1); }},
      {"send: FAULT", [&] { none.send(&byte, -1); }},
      {"sendto: FAULT", [&] { none.sendto(&byte, -1, taken); }},
      {"socket: AFNOSUPPORT",
       [&] {
         none.socket({99, SOCK_STREAM, 0});
       }},
      {"connect: CONNREFUSED", [&] { fresh.connect(taken); }},
      {"bind: ADDRINUSE", [&] { fresh.bind(taken); }}};
  for (const auto& [error, action] : kCases)
    EXPECT_EQ(errorOf(action), RWCString("RWSocketError: in RWSocket::") + error);
  EXPECT_EQ(
      errorOf([&] { made.bind(RWInetAddr("inet:dgram:127.0.0.1:0")); }),
      "RWSockTypeChangeError: Socket of type inet:stream can't be changed to type inet:dgram");
  EXPECT_THROW(fresh.connect(RWInetAddr("127.0.0.1:no-such-service")), RWxmsg);
  EXPECT_EQ(fresh.text(), "invalid") << "a failed call left a socket";
  EXPECT_EQ(client_.text(), client_.getsockname().text() + "-->" + listener_.text());
}

TEST_F(RWSocketTest, ReceivesAndSendsFully) {
  const RWCString large(5000, 'y');
  EXPECT_EQ(server_.sendFully("01\0", 3), 3);
  EXPECT_EQ(server_.sendFully(large.data(), 5000), 5000);
  EXPECT_EQ(server_.sendFully("0", -1), 0);
  EXPECT_THROW(server_.sendFully("0", 0, 1), RWNetCantSendError);
  char buffer[3];
  EXPECT_THROW(client_.recvFully(buffer, 3, 5), RWNetCantRecvError);  // The buffer is full first.
  EXPECT_EQ(client_.recvFully(5000), large);
  server_.send("yz", 2);
  server_.shutdown(1);
  RWSockAddr from = client_.getpeername();
  EXPECT_EQ(client_.recvfrom(buffer, 1, &from), 1);
  EXPECT_FALSE(from.isValid());  // A stream has no sender address.
  EXPECT_THROW(client_.recvFully(2), RWNetCantRecvError);
}

TEST_F(RWSocketTest, ReadinessWaitReportsReadersThenWritersEachFromTheLast) {
  OwnedSocket second;
  second.connect(listener_.getsockname());
  server_.send("x", 1);
  RWSocketAttributes waited;
  waited.append({server_, Condition::CanRead | Condition::Exceptional});
  EXPECT_TRUE(selectSockets(waited, 0.999).isEmpty());
  char byte = 0;
  EXPECT_EQ(client_.recv(&byte, 1, MSG_PEEK), 1);  // Readable, and stays so.
  waited.append({client_, Condition::CanRead});
  waited.append({listener_, Condition::CanAccept});
  waited.append({second, Condition::Connected | Condition::Exceptional});
  waited.append({client_, Condition::CanWrite});
  std::vector<std::pair<RWSocket::Handle, int>> found;
  for (const auto& [socket, bits] : selectSockets(waited, -1))
    found.push_back({socket.handle(), bits});
  const auto listener = listener_.handle(), client = client_.handle();
  EXPECT_EQ(found,
            (decltype(found){{listener, 33}, {client, 33}, {client, 10}, {second.handle(), 10}}));
}

TEST_F(RWSocketTest, ReadinessWaitDropsFractionsOfASecondAndRefusesTooManySockets) {
  EXPECT_EQ(selectSeconds(-0.001), std::nullopt);
  EXPECT_EQ(selectSeconds(1.999), 1);
  EXPECT_EQ(selectSeconds(1e300), 2147483647);
  RWSocketAttributes waited;
  waited.append({RWSocket(), Condition::CanRead});
  EXPECT_EQ(errorOf([&] { selectSockets(waited, -1); }), "RWNetSelectError: NOTSOCK");
  for (RWSocket::Handle handle = 0x40000000; waited.entries() <= kMaxSelectSockets; ++handle) {
    waited.append({RWSocket(handle), Condition::CanRead});
  }
  EXPECT_EQ(errorOf([&] { selectSockets(waited, 0); }), "RWNetSelectError: INVAL");
}

}  // namespace orla
