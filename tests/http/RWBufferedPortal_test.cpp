#include "http/RWBufferedPortal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "net/RWNetErrors.h"
#include "support/PortalFixture.h"

namespace orla {
namespace {

using test::PortalFixture;
using testing::ElementsAre;

TEST(RWBufferedPortal, ReadsAheadWithoutLosingBytes) {
  RWCString bytes;
  for (int i = 0; i < 100000; ++i) bytes += static_cast<char>(i * 7 % 251);
  const PortalFixture wire(bytes, {3, 20000, 1, 50000});
  const RWPortal portal(new RWBufferedPortalImp(wire.portal()));

  RWCString got;
  std::string piece(40000, '\0');
  // Small and large receives in turn: out of the buffer, and past it.
  for (const int size : {1, 40000, 1, 5, 40000, 1, 16384, 40000, 40000}) {
    bool more = false;
    const int count = portal.recv(piece.data(), size, &more);
    EXPECT_EQ(more, count != 0);
    got.append(piece, 0, static_cast<std::size_t>(count));
  }
  EXPECT_EQ(got, bytes.substr(0, got.size()));
  while (const int count = portal.recv(piece.data(), 1, nullptr))
    got.append(piece, 0, static_cast<std::size_t>(count));
  EXPECT_EQ(got, bytes);
  EXPECT_LT(wire.reads(), 20U) << "single bytes were asked of the portal beneath";
}

TEST(RWBufferedPortal, GathersSendsUntilFlushed) {
  const PortalFixture wire;
  RWBufferedPortalImp* const imp = new RWBufferedPortalImp(wire.portal());
  const RWPortal portal(imp);
  portal.sendFully(RWCString("ab"));
  portal.sendFully(RWCString("cd"));
  EXPECT_TRUE(wire.writes().empty());
  imp->flush();
  imp->flush();
  EXPECT_THAT(wire.writes(), ElementsAre("abcd"));

  RWCString sent = "abcd";
  for (int i = 0; i < 100; ++i) {
    const RWCString piece(4080, static_cast<char>('a' + i % 26));
    portal.sendFully(piece);
    sent += piece;
  }
  imp->flush();
  EXPECT_EQ(wire.written(), sent);
  EXPECT_LT(wire.writes().size(), 5U);
}

}  // namespace
}  // namespace orla
