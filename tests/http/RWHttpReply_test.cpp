#include "http/RWHttpReply.h"

#include <gtest/gtest.h>

#include "http/RWHttpPortal.h"
#include "support/PortalFixture.h"

namespace orla {

TEST(RWHttpReply, TellsWhatItRead) {
  const test::PortalFixture wire(
      "\r\nHTTP/12.34 200-O\rK\r\n200 b\r\nB: b\r\na:a\r\nb:  c \r\n::X:: :y\nplain\r\nT:\tt\r\n"
      " f: z\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc",
      {107, 0, 1, 0, 0, 64});
  RWHttpLineReader lines(wire.portal());
  const RWHttpReply reply(lines);
  EXPECT_EQ(reply.asString(),
            "HTTP/12.34 200-O\rK\r\n200 b\r\n f: z\r\nT: \tt\r\nTransfer-Encoding: chunked\r\nX: "
            ":y\r\na: a\r\n"
            "b: b, c \r\nplain: \r\n\r\n");
  EXPECT_EQ(reply.lines()[1].asString(),
            "replyline=[valid=true][cont=false][type=2][text=b][code=200]");
  char piece[8];  // A pause inside the size of a chunk is no end.
  EXPECT_EQ(makeBodyPortal("GET", reply, wire.portal())->recv(piece, 8, nullptr), 3);
  EXPECT_TRUE(makeBodyPortal("hEaD", reply, wire.portal())->isDone());
}

}  // namespace orla
