#include "http/RWBufferedPortal.h"

#include <gmock/gmock.h>

#include "support/ErrorOf.h"
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
  EXPECT_THAT(wire.writes(), ElementsAre("abcd"));
}

TEST(RWBufferedPortal, SendsLargeRunsInLargePiecesAndInOrder) {
  RWCString text;
  for (int i = 0; i < 50000; ++i) text += std::to_string(i);
  const std::size_t kSizes[] = {1, 4080, 16383, 16384, 16385, 100000, 150000};
  for (const std::size_t size : kSizes) {
    const PortalFixture wire;
    RWBufferedPortalImp portal(wire.portal());
    const RWCString run = text.substr(0, size);
    portal.send("head", 4);
    portal.sendPieces(run, 4080);
    portal.send("tail", 4);
    portal.flush();
    RWCString sent;
    for (const RWCString& write : wire.writes()) sent += write;
    EXPECT_EQ(sent, "head" + run + "tail");
    EXPECT_LE(wire.writes().size(), 3 + size / 65536) << size;
  }
}

TEST(RWBufferedPortal, DropsWhatItCouldNotSend) {
  struct BrokenPortalImp : RWPortalImp {
    int recv(char*, int, bool*) override { return 0; }
    RWCString recv() override { return ""; }
    int send(const char*, int) override { return 0; }
  };
  RWBufferedPortalImp portal{RWPortal(new BrokenPortalImp)};
  portal.send("ab", 2);
  EXPECT_EQ(test::errorOf([&] { portal.flush(); }),
            "RWNetCantSendError: failed to send data into communications channel");
  EXPECT_EQ(test::errorOf([&] { portal.flush(); }), "nothing thrown");
  EXPECT_TRUE(portal.isMidMessage());
}

}  // namespace orla
