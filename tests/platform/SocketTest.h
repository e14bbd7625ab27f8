// What the tests of the socket calls share: Winsock started, and sockets on the loopback address
// that close themselves.
#pragma once

#include "platform/winapi.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace orla {

/// Owns a socket.
class Socket {
 public:
  explicit Socket(SOCKET handle) : handle_(handle) {}
  static Socket stream() { return Socket(socket(AF_INET, SOCK_STREAM, 0)); }
  static Socket datagram() { return Socket(socket(AF_INET, SOCK_DGRAM, 0)); }
  Socket(Socket&& other) noexcept : handle_(std::exchange(other.handle_, INVALID_SOCKET)) {}
  ~Socket() { close(); }

  operator SOCKET() const { return handle_; }

  void close() { closesocket(std::exchange(handle_, INVALID_SOCKET)); }
  void setNonBlocking() const {
    u_long on = 1;
    EXPECT_EQ(ioctlsocket(handle_, static_cast<long>(FIONBIO), &on), 0);
  }
  void setOption(int level, int name, int value) const {
    EXPECT_EQ(setsockopt(handle_, level, name, reinterpret_cast<char*>(&value), sizeof value), 0);
  }
  int option(int level, int name) const {
    int value = 0;
    int length = sizeof value;
    EXPECT_EQ(getsockopt(handle_, level, name, reinterpret_cast<char*>(&value), &length), 0);
    return value;
  }

 private:
  SOCKET handle_;
};

class SocketTest : public testing::Test {
 protected:
  SocketTest() { EXPECT_EQ(WSAStartup(0x0101, &data_), 0); }
  ~SocketTest() override { EXPECT_EQ(WSACleanup(), 0); }

  static sockaddr_in loopback(u_short port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
  }
  static const sockaddr* raw(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
  }
  static int bindTo(SOCKET socket, const sockaddr_in& address) {
    return bind(socket, raw(address), sizeof address);
  }
  static int connectTo(SOCKET socket, const sockaddr_in& address) {
    return connect(socket, raw(address), sizeof address);
  }
  static sockaddr_in addressOf(SOCKET socket) {
    sockaddr_in address{};
    int length = sizeof address;
    EXPECT_EQ(getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length), 0);
    EXPECT_EQ(length, static_cast<int>(sizeof address));
    return address;
  }
  static Socket listener() {
    Socket made = Socket::stream();
    EXPECT_EQ(bindTo(made, loopback(0)), 0);
    EXPECT_EQ(listen(made, 5), 0);
    return made;
  }
  /// An address where nobody listens.
  static sockaddr_in deadAddress() {
    const Socket closing = Socket::stream();
    EXPECT_EQ(bindTo(closing, loopback(0)), 0);
    return addressOf(closing);
  }
  static std::string receive(SOCKET socket, int length, int flags = 0) {
    std::string bytes(static_cast<std::size_t>(length), '\0');
    const int got = recv(socket, bytes.data(), length, flags);
    EXPECT_GE(got, 0) << WSAGetLastError();
    bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return bytes;
  }

 private:
  WSADATA data_;
};

/// Two ends of one connection.
class ConnectedTest : public SocketTest {
 protected:
  ConnectedTest() : listener_(listener()), client_(Socket::stream()), server_(connectAndAccept()) {}

  Socket listener_;
  Socket client_;
  Socket server_;

 private:
  SOCKET connectAndAccept() {
    EXPECT_EQ(connectTo(client_, addressOf(listener_)), 0);
    return accept(listener_, nullptr, nullptr);
  }
};

}  // namespace orla
