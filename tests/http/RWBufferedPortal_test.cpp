#include "http/RWBufferedPortal.h"

#include <gmock/gmock.h>

#include "support/PortalFixture.h"

namespace orla {

using test::PortalFixture;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(RWBufferedPortal, ReadsAheadAndShowsWhatItHolds) {
  const PortalFixture wire("one\ntwo\nthree", {5, 100});
  const RWPortal portal(new RWBufferedPortalImp(wire.portal()));
  EXPECT_EQ(portal.buffered(), "") << "it received before it was asked to";
  char byte;
  EXPECT_EQ(portal.recv(&byte, 1), 1);
  EXPECT_EQ(portal.buffered(), "ne\nt");
  EXPECT_EQ(wire.unread(), "wo\nthree");
  portal.skip(2);
  EXPECT_EQ(portal.recv(), "\nt");
  EXPECT_EQ(portal.recv(), "wo\nthree");
  EXPECT_EQ(portal.buffered(), "");
}

TEST(RWBufferedPortal, ReceivesThroughAByteInThePiecesThatAreBuffered) {
  const PortalFixture wire("one\ntwo\nthree", {5, 100});
  const RWPortal portal(new RWBufferedPortalImp(wire.portal()));
  const struct {
    std::size_t maxBytes, count;
    const char* text;
  } steps[] = {{100, 1, "o"},  // Nothing is buffered: one byte.
               {100, 3, "one\n"},
               {100, 1, "one\nt"},  // The buffer ends before the line does.
               {100, 1, "one\ntw"},
               {1, 1, "one\ntwo"},
               {100, 1, "one\ntwo\n"},
               {100, 5, "one\ntwo\nthree"},
               {100, 0, "one\ntwo\nthree"}};
  RWCString text;
  for (const auto& [maxBytes, count, expected] : steps) {
    bool more = false;
    EXPECT_EQ(portal.recvThrough('\n', text, maxBytes, &more), count) << expected;
    EXPECT_EQ(more, count != 0) << expected;
    EXPECT_EQ(text, expected);
  }
}

TEST(RWBufferedPortal, ReceivesLargePiecesStraightIntoTheCallersBuffer) {
  const PortalFixture wire(RWCString(50000, 'x'));
  const RWPortal portal(new RWBufferedPortalImp(wire.portal()));
  std::vector<char> buffer(50000);
  EXPECT_EQ(portal.recv(buffer.data(), 20000), 20000);
  EXPECT_EQ(portal.buffered(), "");
}

TEST(RWBufferedPortal, GathersSendsUntilTheFlush) {
  const PortalFixture wire;
  RWBufferedPortalImp portal(wire.portal());
  portal.send("ab", 2);
  portal.send("cd", 2);
  EXPECT_THAT(wire.writes(), IsEmpty());
  portal.flush();
  portal.flush();
  const RWCString a(4000, 'a'), b(4000, 'b');
  for (int i = 0; i < 16; ++i) portal.send(a.data(), 4000);
  for (int i = 0; i < 9; ++i) portal.send(b.data(), 4000);
  portal.flush();
  EXPECT_THAT(wire.writes(), ElementsAre("abcd", RWCString(64000, 'a'), RWCString(36000, 'b')));
}

}  // namespace orla
