#include "http/RWBufferedPortal.h"

#include <gtest/gtest.h>

#include "support/PortalFixture.h"

namespace orla {

using test::PortalFixture;

TEST(RWBufferedPortal, ReadsAheadAndGathersSends) {
  const PortalFixture wire(RWCString(50000, 'x'));
  RWBufferedPortalImp portal(wire.portal());
  char byte;
  EXPECT_EQ(portal.recv(&byte, 1, nullptr), 1);
  EXPECT_LT(wire.unread().size(), 45000U) << "a single byte was asked of the portal beneath";

  portal.send("ab", 2);
  portal.send("cd", 2);
  EXPECT_TRUE(wire.writes().empty());
  portal.flush();
  portal.flush();
  const RWCString a(4000, 'a'), b(4000, 'b');
  for (int i = 0; i < 25; ++i) portal.send(i < 16 ? a.data() : b.data(), 4000);
  portal.flush();
  EXPECT_EQ(wire.writes(),
            (std::vector<RWCString>{"abcd", RWCString(64000, 'a'), RWCString(36000, 'b')}));
}

}  // namespace orla
