#include "http/RWBufferedPortal.h"

#include <gtest/gtest.h>

#include "support/PortalFixture.h"

namespace orla {

using test::PortalFixture;

TEST(RWBufferedPortal, ReadsAheadWithoutLosingBytes) {
  RWCString bytes;
  for (int i = 0; i < 100000; ++i) bytes += static_cast<char>(i * 7 % 251);
  const PortalFixture wire(bytes, {3, 20000, 1, 50000});
  const RWPortal portal(new RWBufferedPortalImp(wire.portal()));
  RWCString got;
  std::string piece(40000, '\0');
  bool more = true;
  for (int i = 0; more; ++i) {
    const int count = portal.recv(piece.data(), i % 3 == 0 ? 40000 : i % 5 + 1, &more);
    EXPECT_EQ(more, count != 0);
    got.append(piece, 0, static_cast<std::size_t>(count));
  }
  EXPECT_EQ(got, bytes);
  EXPECT_LT(wire.reads(), 20U) << "single bytes were asked of the portal beneath";
}

TEST(RWBufferedPortal, TellsNothingYetFromTheEnd) {
  RWBufferedPortalImp portal(PortalFixture("a", {0, 1}).portal());
  char byte;
  bool more = true;
  EXPECT_EQ(portal.recv(&byte, 0, &more), 0);
  for (const bool expected : {false, true, true, false}) {
    EXPECT_EQ(more, expected);
    portal.recv(&byte, 1, &more);
  }
}

TEST(RWBufferedPortal, GathersSendsUntilFlushed) {
  const PortalFixture wire;
  RWBufferedPortalImp portal(wire.portal());
  portal.send("ab", 2);
  portal.send("cd", 2);
  EXPECT_TRUE(wire.writes().empty());
  portal.flush();
  portal.flush();
  const RWCString a(4000, 'a'), b(4000, 'b');
  for (int i = 0; i < 100; ++i) portal.send(i < 65 ? a.data() : b.data(), 4000);
  portal.flush();
  EXPECT_EQ(wire.writes(),
            (std::vector<RWCString>{"abcd", RWCString(260000, 'a'), RWCString(140000, 'b')}));
}

}  // namespace orla
