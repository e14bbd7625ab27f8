#include <functional>
#include <string>

#include "SocketTest.h"

namespace orla {
namespace {

TEST_F(ConnectedTest, CarriesBytesBothWaysToTheOrderlyEnd) {
  EXPECT_EQ(send(client_, "question", 8, 0), 8);
  EXPECT_EQ(receive(server_, 3, MSG_PEEK), "que");
  u_long waiting = 0;
  EXPECT_EQ(ioctlsocket(server_, FIONREAD, &waiting), 0);
  EXPECT_EQ(waiting, 8U);
  EXPECT_EQ(receive(server_, 100), "question");
  EXPECT_EQ(send(server_, "answer", 6, 0), 6);
  EXPECT_EQ(shutdown(server_, 1), 0);
  EXPECT_EQ(receive(client_, 100), "answer");
  EXPECT_EQ(receive(client_, 100), "");
  EXPECT_EQ(send(server_, "more", 4, 0), SOCKET_ERROR);
  EXPECT_EQ(WSAGetLastError(), WSAESHUTDOWN);
}

TEST_F(ConnectedTest, TellsBothAddresses) {
  sockaddr_in peer{};
  int length = sizeof peer;
  ASSERT_EQ(getpeername(server_, reinterpret_cast<sockaddr*>(&peer), &length), 0);
  EXPECT_EQ(length, static_cast<int>(sizeof peer));
  EXPECT_EQ(peer.sin_family, AF_INET);
  EXPECT_EQ(peer.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
  EXPECT_EQ(peer.sin_port, addressOf(client_).sin_port);

  Socket second = Socket::stream();
  ASSERT_EQ(connectTo(second, addressOf(listener_)), 0);
  length = sizeof peer;
  const Socket accepted(accept(listener_, reinterpret_cast<sockaddr*>(&peer), &length));
  ASSERT_NE(accepted, INVALID_SOCKET);
  EXPECT_EQ(peer.sin_port, addressOf(second).sin_port);
}

TEST_F(ConnectedTest, ReceiveSaysTimedOutWhereItWaitsAndWouldBlockWhereItDoesNot) {
  char byte;
  client_.setOption(SOL_SOCKET, SO_RCVTIMEO, 50);
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(recv(client_, &byte, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAETIMEDOUT);
  }
  client_.setNonBlocking();
  EXPECT_EQ(recv(client_, &byte, 1, 0), SOCKET_ERROR);
  EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
}

TEST_F(ConnectedTest, SendSaysTimedOutWhereItWaitsAndWouldBlockWhereItDoesNot) {
  const std::string piece(1 << 20, 'x');
  const auto sendUntilItFails = [&] {
    while (send(client_, piece.data(), static_cast<int>(piece.size()), 0) > 0) {
    }
    return WSAGetLastError();
  };
  client_.setOption(SOL_SOCKET, SO_SNDTIMEO, 50);
  EXPECT_EQ(sendUntilItFails(), WSAETIMEDOUT);
  client_.setNonBlocking();
  EXPECT_EQ(sendUntilItFails(), WSAEWOULDBLOCK);
}

// A peer that will not linger resets the connection. A process that the failing send raised a
// signal in would not live to see the code.
TEST_F(ConnectedTest, ResetConnectionFailsTheSend) {
  server_.setOption(SOL_SOCKET, SO_LINGER, 1);  // On, for 0 seconds.
  server_.close();
  char byte;
  EXPECT_LE(recv(client_, &byte, 1, 0), 0);
  EXPECT_EQ(send(client_, "x", 1, 0), SOCKET_ERROR);
  EXPECT_TRUE(WSAGetLastError() == WSAECONNRESET || WSAGetLastError() == WSAECONNABORTED)
      << WSAGetLastError();
}

// The first send after an orderly end still leaves; the reset that answers it fails a later one.
TEST_F(ConnectedTest, SendToAPeerThatWentIsNotTakenForTheOwnShutdown) {
  server_.close();
  EXPECT_EQ(receive(client_, 1), "");
  int code = 0;
  while (code == 0)
    if (send(client_, "x", 1, 0) == SOCKET_ERROR) code = WSAGetLastError();
  EXPECT_TRUE(code == WSAECONNRESET || code == WSAECONNABORTED) << code;
}

TEST_F(ConnectedTest, AcceptedSocketInheritsTheBlockingMode) {
  listener_.setNonBlocking();
  EXPECT_EQ(accept(listener_, nullptr, nullptr), INVALID_SOCKET);
  EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
  const Socket other = Socket::stream();
  ASSERT_EQ(connectTo(other, addressOf(listener_)), 0);
  const Socket accepted(accept(listener_, nullptr, nullptr));
  char byte;
  EXPECT_EQ(recv(accepted, &byte, 1, 0), SOCKET_ERROR);
  EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
}

TEST_F(SocketTest, CutDatagramFailsWithWhatFitsAndWhoSentIt) {
  const Socket receiver = Socket::datagram();
  const Socket sender = Socket::datagram();
  ASSERT_EQ(bindTo(receiver, loopback(0)), 0);
  ASSERT_EQ(bindTo(sender, loopback(0)), 0);
  const sockaddr_in to = addressOf(receiver);
  for (int i = 0; i < 3; ++i) ASSERT_EQ(sendto(sender, "12345678", 8, 0, raw(to), sizeof to), 8);
  char buffer[257] = {};
  sockaddr_in from{};
  int length = sizeof from;
  EXPECT_EQ(recvfrom(receiver, buffer, 4, 0, reinterpret_cast<sockaddr*>(&from), &length),
            SOCKET_ERROR);
  EXPECT_EQ(WSAGetLastError(), WSAEMSGSIZE);
  EXPECT_STREQ(buffer, "1234");
  EXPECT_EQ(from.sin_port, addressOf(sender).sin_port);
  EXPECT_EQ(recv(receiver, buffer, 7, 0), SOCKET_ERROR);
  EXPECT_EQ(WSAGetLastError(), WSAEMSGSIZE);
  EXPECT_EQ(recvfrom(receiver, buffer, 8, 0, nullptr, nullptr), 8);
}

TEST_F(SocketTest, FailuresHaveTheirCodes) {
  const Socket listening = listener();
  const Socket idle = Socket::stream();
  const Socket connected = Socket::stream();
  ASSERT_EQ(connectTo(connected, addressOf(listening)), 0);
  sockaddr_in address = loopback(1);
  auto* const buffer = reinterpret_cast<sockaddr*>(&address);
  int length = sizeof address;
  int tooShort = 15;
  char byte = 0;
  u_long argument = 0;
  const struct {
    const char* what;
    std::function<int()> call;
    int code;
  } rows[] = {
      {"own address, unbound", [&] { return getsockname(idle, buffer, &length); }, WSAEINVAL},
      {"own address, short buffer", [&] { return getsockname(connected, buffer, &tooShort); },
       WSAEFAULT},
      {"peer, unconnected", [&] { return getpeername(idle, buffer, &length); }, WSAENOTCONN},
      {"peer, short buffer", [&] { return getpeername(connected, buffer, &tooShort); }, WSAEFAULT},
      {"receive, unconnected", [&] { return recv(idle, &byte, 1, 0); }, WSAENOTCONN},
      {"shutdown, unconnected", [&] { return shutdown(idle, 1); }, WSAENOTCONN},
      {"shutdown, unknown side", [&] { return shutdown(connected, 3); }, WSAEINVAL},
      {"connect, refused", [&] { return connectTo(Socket::stream(), deadAddress()); },
       WSAECONNREFUSED},
      {"connect, connected", [&] { return connectTo(connected, addressOf(listening)); },
       WSAEISCONN},
      {"bind, port in use", [&] { return bindTo(idle, addressOf(listening)); }, WSAEADDRINUSE},
      {"bind, twice", [&] { return bindTo(connected, loopback(0)); }, WSAEINVAL},
      {"listen, unbound", [&] { return listen(Socket::stream(), 5); }, WSAEINVAL},
      {"accept, not listening",
       [&] { return static_cast<int>(accept(connected, nullptr, nullptr)); }, WSAEINVAL},
      {"unknown family", [&] { return static_cast<int>(socket(99, SOCK_STREAM, 0)); },
       WSAEAFNOSUPPORT},
      {"unknown type", [&] { return static_cast<int>(socket(AF_INET, 77, 0)); },
       WSAESOCKTNOSUPPORT},
      {"set unknown option", [&] { return setsockopt(idle, SOL_SOCKET, 0x7777, &byte, 4); },
       WSAENOPROTOOPT},
      {"get unknown option", [&] { return getsockopt(idle, SOL_SOCKET, 0x7777, &byte, &length); },
       WSAENOPROTOOPT},
      {"set option, no value", [&] { return setsockopt(idle, SOL_SOCKET, SO_SNDBUF, nullptr, 4); },
       WSAEFAULT},
      {"no such socket, close", [&] { return closesocket(INVALID_SOCKET); }, WSAENOTSOCK},
      {"no such socket, receive", [&] { return recv(INVALID_SOCKET, &byte, 1, 0); }, WSAENOTSOCK},
      {"no such socket, send", [&] { return send(INVALID_SOCKET, &byte, 1, 0); }, WSAENOTSOCK},
      {"no such socket, connect", [&] { return connectTo(INVALID_SOCKET, loopback(1)); },
       WSAENOTSOCK},
      {"no such socket, bind", [&] { return bindTo(INVALID_SOCKET, loopback(0)); }, WSAENOTSOCK},
      {"no such socket, listen", [&] { return listen(INVALID_SOCKET, 1); }, WSAENOTSOCK},
      {"no such socket, shutdown", [&] { return shutdown(INVALID_SOCKET, 1); }, WSAENOTSOCK},
      {"no such socket, own address", [&] { return getsockname(INVALID_SOCKET, buffer, &length); },
       WSAENOTSOCK},
      {"no such socket, peer", [&] { return getpeername(INVALID_SOCKET, buffer, &length); },
       WSAENOTSOCK},
      {"no such socket, mode", [&] { return ioctlsocket(INVALID_SOCKET, FIONREAD, &argument); },
       WSAENOTSOCK},
      {"clean-up without a start", [&] { return WSACleanup(), WSACleanup(); }, WSANOTINITIALISED},
  };
  for (const auto& row : rows) {
    WSASetLastError(0);
    EXPECT_EQ(row.call(), SOCKET_ERROR) << row.what;
    EXPECT_EQ(WSAGetLastError(), row.code) << row.what;
  }
  WSADATA data;
  ASSERT_EQ(WSAStartup(0x0101, &data), 0);
  EXPECT_EQ(data.wVersion, 0x0101);
}

TEST_F(ConnectedTest, OptionsGiveBackWhatWasSet) {
  const struct {
    int level;
    int name;
    int value;
  } rows[] = {
      {SOL_SOCKET, SO_RCVTIMEO, 300000}, {SOL_SOCKET, SO_RCVTIMEO, 0},
      {SOL_SOCKET, SO_SNDTIMEO, 1500},   {SOL_SOCKET, SO_KEEPALIVE, 1},
      {SOL_SOCKET, SO_KEEPALIVE, 0},     {IPPROTO_TCP, TCP_NODELAY, 1},
      {IPPROTO_TCP, TCP_NODELAY, 0},     {SOL_SOCKET, SO_SNDBUF, 32768},
      {SOL_SOCKET, SO_RCVBUF, 32768},    {SOL_SOCKET, SO_REUSEADDR, 1},
      {SOL_SOCKET, SO_LINGER, 0},        {SOL_SOCKET, SO_LINGER, 7 << 16 | 1},  // For 7 s.
  };
  for (const auto& row : rows) {
    client_.setOption(row.level, row.name, row.value);
    EXPECT_EQ(client_.option(row.level, row.name), row.value) << std::hex << row.name;
  }
  EXPECT_EQ(client_.option(SOL_SOCKET, SO_TYPE), SOCK_STREAM);
  EXPECT_EQ(Socket::datagram().option(SOL_SOCKET, SO_TYPE), SOCK_DGRAM);
}

}  // namespace
}  // namespace orla
