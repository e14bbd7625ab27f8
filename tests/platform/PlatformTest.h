#pragma once

#include "platform/winapi.h"

#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <thread>
#include <utility>

namespace orla {

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) { EXPECT_NE(handle, nullptr); }
  Handle(const Handle&) = delete;
  ~Handle() { close(); }

  operator HANDLE() const { return handle_; }
  void close() {
    if (handle_ != nullptr && !CloseHandle(std::exchange(handle_, nullptr))) ADD_FAILURE();
  }

 private:
  HANDLE handle_;
};

inline HANDLE makeMutex(const std::string& name = "", BOOL owned = FALSE) {
  return CreateMutexA(nullptr, owned, name.empty() ? nullptr : name.c_str());
}
inline HANDLE makeEvent(BOOL manualReset, BOOL initialState, const std::string& name = "") {
  return CreateEventA(nullptr, manualReset, initialState, name.empty() ? nullptr : name.c_str());
}
inline HANDLE makeSemaphore(LONG initial, LONG maximum, const std::string& name = "") {
  return CreateSemaphoreA(nullptr, initial, maximum, name.empty() ? nullptr : name.c_str());
}
inline std::string freshName() {
  return "Orla.Test.Object@" + std::to_string(std::random_device()()) + "-";
}

/// The code of a call that returned FALSE or null; 0 for one that succeeded.
template <typename Result>
DWORD refusal(Result result) {
  return result ? 0 : GetLastError();
}
inline DWORD poll(HANDLE object) {
  return WaitForSingleObject(object, 0);
}
inline DWORD waitForBoth(HANDLE first, HANDLE second, DWORD milliseconds) {
  const HANDLE both[] = {first, second};
  return WaitForMultipleObjects(2, both, TRUE, milliseconds);
}
inline void elsewhere(const std::function<void()>& work) {
  std::thread(work).join();
}

class Socket {
 public:
  explicit Socket(SOCKET handle = socket(AF_INET, SOCK_STREAM, 0)) : handle_(handle) {}
  ~Socket() { close(); }

  operator SOCKET() const { return handle_; }
  void close() { closesocket(std::exchange(handle_, INVALID_SOCKET)); }
  void setNonBlocking() const {
    u_long on = 1;
    EXPECT_EQ(ioctlsocket(handle_, static_cast<long>(FIONBIO), &on), 0);
  }
  void setOption(int name, int value) const {
    auto* const bytes = reinterpret_cast<char*>(&value);
    EXPECT_EQ(setsockopt(handle_, SOL_SOCKET, name, bytes, sizeof value), 0);
  }
  int option(int name) const {
    int value = 0, length = sizeof value;
    auto* const bytes = reinterpret_cast<char*>(&value);
    EXPECT_EQ(getsockopt(handle_, SOL_SOCKET, name, bytes, &length), 0);
    return value;
  }

 private:
  SOCKET handle_;
};

/// The code of a socket call that failed; 0 for one that did not.
inline int codeOf(int result) {
  return result == SOCKET_ERROR ? WSAGetLastError() : 0;
}
inline int connectTo(SOCKET socket, const sockaddr_in& address) {
  return codeOf(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
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
  SocketTest() : server_(connectAndAccept()) {}
  ~SocketTest() override { WSACleanup(); }

  WSADATA data_;
  const int started_ = WSAStartup(0x0101, &data_);
  sockaddr_in address_{};  // The listener's.
  Socket listener_, client_, server_;

 private:
  SOCKET connectAndAccept() {
    auto* const address = reinterpret_cast<sockaddr*>(&address_);
    int length = sizeof address_;
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(started_ + bind(listener_, address, length) + listen(listener_, 5), 0);
    EXPECT_EQ(getsockname(listener_, address, &length) + connectTo(client_, address_), 0);
    return accept(listener_, nullptr, nullptr);
  }
};

}  // namespace orla
