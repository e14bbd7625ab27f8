#include "NetTest.h"
#include "net/RWSocketPortal.h"

namespace orla {

// A new socket gets the lowest descriptor that is free, and so tells a leak.
TEST_F(NetTest, FailuresGiveTheDescriptorBack) {
  OwnedSocket reserved, fresh, next;
  reserved.bind(loopback(0));
  const RWInetAddr closedPort = addressOf(reserved);
  next.socket(RWSockKind());
  const RWSocket::Handle lowest = next.handle();
  next.close();
  EXPECT_THROW(fresh.connect(closedPort), RWxmsg);
  EXPECT_THROW(fresh.bind(closedPort), RWxmsg);
  EXPECT_THROW(RWSocketPortal{closedPort}, RWxmsg);
  EXPECT_THROW(fresh.connect(RWInetAddr("127.0.0.1:no-such-service")), RWxmsg);
  next.socket(RWSockKind());
  EXPECT_EQ(next.handle(), lowest);
}

}  // namespace orla
