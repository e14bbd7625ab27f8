#include "net/RWSocket.h"

#include <gtest/gtest.h>

#include "net/RWInetAddr.h"
#include "net/RWNetErrors.h"
#include "net/RWWinsockStartup.h"
#include "support/FaultyPlatform.h"

namespace orla {
namespace {

// A system that reports a failure may leave no error code behind.
TEST(RWSocket, ReportsABindThatFailsWithoutACode) {
  const RWWinsockStartup winsock;
  const char* failedCall = nullptr;
  RWSocket socket;
  {
    const faults::Injection injection({.kind = faults::Kind::kSocket, .call = 2}, &failedCall);
    EXPECT_THROW(socket.bind(RWInetAddr("127.0.0.1:0")), RWSocketError);
  }
  EXPECT_STREQ(failedCall, "bind");
  EXPECT_FALSE(socket.isValid());
}

}  // namespace
}  // namespace orla
