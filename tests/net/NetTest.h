#pragma once

#include <gtest/gtest.h>

#include "net/RWInetAddr.h"
#include "net/RWSocket.h"
#include "net/RWWinsockStartup.h"
#include "support/ErrorOf.h"

namespace orla {

using test::errorOf;

struct OwnedSocket : RWSocket {
  ~OwnedSocket() { closesocket(handle()); }
  using RWSocket::operator=;
};

/// Keeps Winsock started and has a connection on the loopback address.
struct NetTest : testing::Test {
  NetTest() {
    listener_.bind(RWInetAddr("127.0.0.1:0"));
    listener_.listen(5);
    client_.connect(listener_.getsockname());
    server_ = listener_.accept();
  }
  ~NetTest() noexcept override = default;

  const RWWinsockStartup winsock_;
  OwnedSocket listener_, client_, server_;
};

}  // namespace orla
