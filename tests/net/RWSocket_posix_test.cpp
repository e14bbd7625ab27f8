#include "NetTest.h"
#include "net/RWNetErrors.h"
#include "net/RWSocketPortal.h"

namespace orla {
namespace {

using RWSocketPosixTest = NetTest;

// A new socket gets the lowest descriptor that is free, and so tells a leak.
TEST_F(RWSocketPosixTest, FailuresGiveTheDescriptorBack) {
  OwnedSocket reserved;
  reserved.bind(loopback(0));
  const RWInetAddr closedPort = addressOf(reserved);
  RWSocket fresh;
  fresh.socket(RWSockKind());
  const RWSocket::Handle lowest = fresh.handle();
  fresh.close();

  EXPECT_THROW(fresh.connect(closedPort), RWSocketError);
  EXPECT_THROW(fresh.bind(closedPort), RWSocketError);
  EXPECT_THROW(RWSocketPortal{closedPort}, RWSocketError);
  EXPECT_THROW(fresh.connect(RWInetAddr("127.0.0.1:no-such-service")), RWxmsg);
  fresh.socket(RWSockKind());
  EXPECT_EQ(fresh.handle(), lowest);
  fresh.close();
}

}  // namespace
}  // namespace orla
