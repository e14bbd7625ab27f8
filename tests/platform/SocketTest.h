// What the tests of the socket calls share.
#pragma once

#include "platform/winapi.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace orla {

class Socket {
 public:
  explicit Socket(SOCKET handle = socket(AF_INET, SOCK_STREAM, 0)) : handle_(handle) {}
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

/// The code of a call that failed; 0 for one that did not.
inline int codeOf(int result) {
  return result == SOCKET_ERROR ? WSAGetLastError() : 0;
}
inline sockaddr_in loopback(u_short port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}
inline int bindTo(SOCKET socket, const sockaddr_in& address) {
  return codeOf(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
}
inline int connectTo(SOCKET socket, const sockaddr_in& address) {
  return codeOf(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
}
inline sockaddr_in addressOf(SOCKET socket) {
  sockaddr_in address{};
  int length = sizeof address;
  EXPECT_EQ(getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length), 0);
  return address;
}
/// What a receive of at most 100 bytes gives; its code when it fails.
inline std::string receive(SOCKET socket, int flags = 0) {
  char bytes[100];
  const int got = recv(socket, bytes, sizeof bytes, flags);
  return got < 0 ? std::to_string(WSAGetLastError()) : std::string(bytes, bytes + got);
}
inline int sendUntilItFails(SOCKET socket) {
  static const std::string piece(1 << 20, 'x');
  while (send(socket, piece.data(), static_cast<int>(piece.size()), 0) > 0) {
  }
  return WSAGetLastError();
}

class SocketTest : public testing::Test {
 protected:
  SocketTest() { EXPECT_EQ(WSAStartup(0x0101, &data_), 0); }
  ~SocketTest() override { WSACleanup(); }

  WSADATA data_;
};

class ConnectedTest : public SocketTest {
 protected:
  ConnectedTest() : server_(connectAndAccept()) {}

  Socket listener_, client_, server_;

 private:
  SOCKET connectAndAccept() {
    EXPECT_EQ(bindTo(listener_, loopback(0)), 0);
    EXPECT_EQ(listen(listener_, 5), 0);
    EXPECT_EQ(connectTo(client_, addressOf(listener_)), 0);
    return accept(listener_, nullptr, nullptr);
  }
};

}  // namespace orla
