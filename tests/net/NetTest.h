// What the tests of the network layer share: Winsock kept started, and sockets on the loopback
// address.
#pragma once

#include <gtest/gtest.h>
#include <memory>

#include "net/RWInetAddr.h"
#include "net/RWSocket.h"
#include "net/RWWinsockStartup.h"
#include "support/ErrorOf.h"

namespace orla {

using test::errorOf;

struct OwnedSocket : RWSocket {
  explicit OwnedSocket(const RWSocket& socket = RWSocket()) : RWSocket(socket) {}
  OwnedSocket(const OwnedSocket&) = delete;
  OwnedSocket& operator=(const OwnedSocket&) = delete;
  ~OwnedSocket() { closesocket(handle()); }
};

struct NetTest : testing::Test {
  static RWInetAddr loopback(std::uint16_t port, int type = SOCK_STREAM) {
    return RWInetAddr(RWInetServicePort(port), RWInetHost("127.0.0.1"), type);
  }
  static RWInetAddr addressOf(const RWSocket& socket) {
    return RWInetAddr(socket.getsockname().text());
  }
  static void setBlocking(const RWSocket& socket, bool blocking) {
    std::uint32_t nonBlocking = blocking ? 0 : 1;
    socket.ioctl(FIONBIO, &nonBlocking);
  }

  std::unique_ptr<RWWinsockStartup> winsock_ = std::make_unique<RWWinsockStartup>();
};

struct LoopbackTest : NetTest {
  LoopbackTest() {
    listener_.bind(loopback(0));
    listener_.listen(5);
    client_.connect(addressOf(listener_));
    static_cast<RWSocket&>(server_) = listener_.accept();
  }
  OwnedSocket listener_, client_, server_;
};

}  // namespace orla
