#include "http/RWBufferedPortal.h"

#include <gtest/gtest.h>

#include "support/ErrorOf.h"
#include "support/PortalFixture.h"

namespace orla {

using test::PortalFixture;

TEST(RWBufferedPortal, ReadsAheadAndShowsWhatItHolds) {
  const PortalFixture wire("one\ntwo\nthree" + RWCString(50000, 'x'), {5, 8, 50000});
  const RWPortal portal(new RWBufferedPortalImp(wire.portal()));
  EXPECT_EQ(portal.buffered(), "") << "it received before it was asked to";
  char byte;
  EXPECT_EQ(portal.recv(&byte, 1), 1);
  EXPECT_EQ(portal.buffered(), "ne\nt");
  EXPECT_TRUE(wire.unread().starts_with("wo\nthree"));
  portal.skip(2);
  EXPECT_EQ(portal.recv(), "\nt");
  EXPECT_EQ(portal.recv(), "wo\nthree");
  EXPECT_EQ(portal.buffered(), "");
  RWCString large(50000, ' ');
  EXPECT_EQ(portal.recv(large.data(), 20000), 20000) << "it passed through the buffer";
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

TEST(RWBufferedPortal, GathersSendsUntilTheFlushAndSendsLargeRunsInLargePieces) {
  RWCString text;
  for (int i = 0; i < 50000; ++i) text += std::to_string(i);
  const std::size_t kSizes[] = {1, 4080, 16383, 16384, 16385, 100000, 150000};
  for (const std::size_t size : kSizes) {
    const PortalFixture wire;
    RWBufferedPortalImp portal(wire.portal());
    const RWCString run = text.substr(0, size);
    portal.send("he", 2);
    portal.send("ad", 2);
    EXPECT_TRUE(wire.writes().empty());
    portal.sendPieces(run, 4080);
    portal.send("tail", 4);
    portal.flush();
    portal.flush();
    RWCString sent;
    for (const RWCString& write : wire.writes()) sent += write;
    EXPECT_EQ(sent, "head" + run + "tail");
    EXPECT_LE(wire.writes().size(), (size < 16384 - 8 ? 1 : 3) + size / 65536) << size;
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
