#include <vector>

#include "SocketTest.h"

namespace orla {
namespace {

using Sockets = std::vector<SOCKET>;

fd_set setOf(const Sockets& sockets) {
  fd_set set;
  FD_ZERO(&set);
  for (const SOCKET socket : sockets) FD_SET(socket, &set);
  return set;
}

Sockets contentOf(const fd_set& set) {
  return {set.fd_array, set.fd_array + set.fd_count};
}

/// What select() leaves of the sockets in one of its sets, 0 reading, 1 writing, 2 exceptional.
/// Polls; with `wait` set it waits without limit.
Sockets ready(int which, const Sockets& sockets, bool wait = false) {
  timeval now{0, 0};
  timeval* const timeout = wait ? nullptr : &now;
  fd_set set = setOf(sockets);
  const int count = select(0, which == 0 ? &set : nullptr, which == 1 ? &set : nullptr,
                           which == 2 ? &set : nullptr, timeout);
  EXPECT_EQ(count, static_cast<int>(set.fd_count));
  return contentOf(set);
}

TEST_F(ConnectedTest, SelectKeepsTheReadySocketsInOrder) {
  const Sockets all{server_, client_, listener_};
  EXPECT_EQ(ready(0, all), Sockets{});
  EXPECT_EQ(ready(1, all), (Sockets{server_, client_}));
  EXPECT_EQ(ready(2, all), Sockets{});
  ASSERT_EQ(send(client_, "x", 1, 0), 1);
  const Socket second = Socket::stream();
  ASSERT_EQ(connectTo(second, addressOf(listener_)), 0);
  EXPECT_EQ(ready(0, {server_}, true), Sockets{server_});
  EXPECT_EQ(ready(0, {listener_}, true), Sockets{listener_});
  EXPECT_EQ(ready(0, all), (Sockets{server_, listener_}));

  fd_set read = setOf(all);
  fd_set write = setOf({client_, server_});
  fd_set except = setOf(all);
  EXPECT_EQ(select(0, &read, &write, &except, nullptr), 4);
  EXPECT_EQ(contentOf(read), (Sockets{server_, listener_}));
  EXPECT_EQ(contentOf(write), (Sockets{client_, server_}));
  EXPECT_EQ(contentOf(except), Sockets{});
}

TEST_F(ConnectedTest, SelectTakesTheEndAndTheResetOfAConnectionForReadable) {
  ASSERT_EQ(shutdown(client_, 1), 0);
  EXPECT_EQ(ready(0, {server_}, true), Sockets{server_});
  EXPECT_EQ(receive(server_, 1), "");
  ASSERT_EQ(send(server_, "unread", 6, 0), 6);
  EXPECT_EQ(receive(client_, 1, MSG_PEEK), "u");
  client_.close();
  EXPECT_EQ(ready(0, {server_}, true), Sockets{server_});
  EXPECT_EQ(ready(2, {server_}), Sockets{}) << "only a failed connect is exceptional";
}

TEST_F(SocketTest, SelectTellsAFailedConnectFromOneThatSucceeded) {
  const Socket listening = listener();
  const Socket good = Socket::stream();
  const Socket bad = Socket::stream();
  for (const auto* socket : {&good, &bad}) {
    socket->setNonBlocking();
    const sockaddr_in target = socket == &good ? addressOf(listening) : deadAddress();
    EXPECT_EQ(connectTo(*socket, target), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
  }
  EXPECT_EQ(ready(1, {good}, true), Sockets{good});
  EXPECT_EQ(ready(2, {good, bad}, true), Sockets{bad});
  EXPECT_EQ(ready(1, {good, bad}), Sockets{good});
  EXPECT_EQ(good.option(SOL_SOCKET, SO_ERROR), 0);
  EXPECT_EQ(bad.option(SOL_SOCKET, SO_ERROR), WSAECONNREFUSED) << "select left the reason";
}

TEST_F(ConnectedTest, SelectWaitsTheTimeOut) {
  fd_set set = setOf({client_});
  timeval limit{0, 20000};
  EXPECT_EQ(select(0, &set, nullptr, nullptr, &limit), 0);
  EXPECT_EQ(set.fd_count, 0U);
  // An end that nobody asks for neither counts nor ends the wait.
  ASSERT_EQ(shutdown(client_, 1), 0);
  ASSERT_EQ(shutdown(server_, 1), 0);
  EXPECT_EQ(ready(0, {client_, server_}, true).empty(), false);
  set = setOf({client_});
  EXPECT_EQ(select(0, nullptr, nullptr, &set, &limit), 0);
}

TEST_F(ConnectedTest, SelectRefusesEmptySetsAndBadSockets) {
  timeval now{0, 0};
  fd_set empty = setOf({});
  for (fd_set* set : {static_cast<fd_set*>(nullptr), &empty}) {
    EXPECT_EQ(select(0, set, nullptr, set, &now), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAEINVAL);
  }
  fd_set bad = setOf({client_, INVALID_SOCKET});
  EXPECT_EQ(select(0, &bad, nullptr, nullptr, &now), SOCKET_ERROR);
  EXPECT_EQ(WSAGetLastError(), WSAENOTSOCK);
}

TEST(FdSet, HoldsSocketsInOrderUpToItsSize) {
  fd_set set = setOf({5, 9, 7});
  FD_CLR(9, &set);
  FD_CLR(1000, &set);
  EXPECT_EQ(contentOf(set), (Sockets{5, 7}));
  for (SOCKET socket = 100; socket < 200; ++socket) FD_SET(socket, &set);
  EXPECT_EQ(set.fd_count, 64U);
  EXPECT_TRUE(FD_ISSET(7, &set));
  EXPECT_FALSE(FD_ISSET(199, &set));
}

}  // namespace
}  // namespace orla
