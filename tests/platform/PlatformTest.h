#pragma once

#include "platform/winapi.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <utility>

namespace orla {

inline void elsewhere(const std::function<void()>& work) {
  std::thread(work).join();
}

inline HANDLE openExisting(const std::string& path, DWORD access) {
  return CreateFileA(path.c_str(), access, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

/// The code of a socket call that failed; 0 for one that did not.
inline int codeOf(int result) {
  return result == SOCKET_ERROR ? WSAGetLastError() : 0;
}

struct Socket {
  explicit Socket(SOCKET made = socket(AF_INET, SOCK_STREAM, 0)) : handle(made) {}
  ~Socket() { close(); }
  operator SOCKET() const { return handle; }
  void close() { closesocket(std::exchange(handle, INVALID_SOCKET)); }
  void setNonBlocking() const {
    u_long on = 1;
    EXPECT_EQ(ioctlsocket(handle, static_cast<long>(FIONBIO), &on), 0);
  }
  void setOption(int name, int value) const {
    auto* const bytes = reinterpret_cast<char*>(&value);
    EXPECT_EQ(setsockopt(handle, SOL_SOCKET, name, bytes, sizeof value), 0);
  }
  int receive() const {
    char byte;
    return codeOf(recv(handle, &byte, 1, 0));
  }
  SOCKET handle;
};

/// A connection on the loopback address.
struct Connection {
  Connection() {
    int length = sizeof address_;
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(started_ + bind(listener_, name_, length) + listen(listener_, 5), 0);
    EXPECT_EQ(getsockname(listener_, name_, &length) + connectFrom(client_), 0);
    server_.handle = accept(listener_, nullptr, nullptr);
    EXPECT_NE(server_.handle, INVALID_SOCKET);
  }
  ~Connection() { WSACleanup(); }
  int connectFrom(SOCKET socket) { return codeOf(connect(socket, name_, sizeof address_)); }

  WSADATA data_;
  const int started_ = WSAStartup(0x0101, &data_);
  sockaddr_in address_{};  // The listener's.
  sockaddr* const name_ = reinterpret_cast<sockaddr*>(&address_);
  Socket listener_, client_, server_{INVALID_SOCKET};
};

struct SocketTest : testing::Test, Connection {};

}  // namespace orla
