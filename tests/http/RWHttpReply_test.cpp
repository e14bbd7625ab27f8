#include "http/RWHttpReply.h"

#include <gtest/gtest.h>
#include <utility>

#include "http/RWHttpPortal.h"
#include "support/ErrorOf.h"
#include "support/PortalFixture.h"

namespace orla {
namespace {

using test::PortalFixture;

RWHttpReply read(const RWCString& head) {
  const PortalFixture wire(head);
  RWHttpLineReader lines(wire.portal());
  return RWHttpReply(lines);
}

TEST(RWHttpReply, ReadsStatusLinesAndHeaderLines) {
  const RWCString ok = "HTTP/1.1 200 OK\r\n";
  const std::pair<RWCString, RWCString> cases[] = {
      {"\r\n\n" + ok, ok},  // Empty lines are skipped.
      {"HTTP/12.34 200 OK\n", "HTTP/12.34 200 OK\r\n"},
      {"HTTP/1.1 204\r\n", "HTTP/1.1 204\r\n"},
      {"HTTP/1.1 200-a\r\n200 b\r\n", "HTTP/1.1 200-a\r\n200 b\r\n"},  // A continuation.
      {"HTTP/99999999999.1 200 OK\r\n", "HTTP/2147483647.1 200 OK\r\n"},
      {"x " + ok, "RWReplySyntaxError: reply was 'x 200 OK'"},
      {"HTTP/1.1  200 OK\r\n", "RWReplySyntaxError: reply was ' 200 OK'"},
      {"HTTP/1. 200 OK\r\n", "RWReplySyntaxError: reply was 'HTTP/1. 200 OK'"},
      {"HTTP/1.1 200", "RWReplyError: Connection closed by server"},
      {ok + "a:b\n", ok + "a: b\r\n"},
      {ok + "a:  b \r\n", ok + "a: b \r\n"},    // Only leading spaces are removed,
      {ok + "a:\tb\r\n", ok + "a: \tb\r\n"},    // and no tabs.
      {ok + "::a:: :b\r\n", ok + "a: :b\r\n"},  // Leading colons are removed.
      {ok + "a\r\n", ok + "a: \r\n"},           // A line without a colon is a label.
      {ok + " a: b\r\n", ok + " a: b\r\n"},     // Lines are never folded.
      {ok + "B: 1\r\na: 2\r\nb: 3\r\n", ok + "a: 2\r\nb: 1, 3\r\n"},  // Equal labels merge.
      {ok + "a: 1\r\nB: 2\r\n", ok + "B: 2\r\na: 1\r\n"},             // They are sorted by case.
      {ok + "a: b\rc\r\n", ok + "a: b\rc\r\n"},  // A CR that ends no line stays,
      {ok + "a: b\r\r\n", ok + "a: b\r\r\r\n"},  // with the byte after it, also if that is a CR.
      {ok + "a: b\r\r\r\n", ok + "a: b\r\r\r\n"},
  };
  for (const auto& [received, printed] : cases) {
    RWCString text;
    const RWCString error =
        test::errorOf([&, &head = received] { text = read(head + "\r\n").asString(); });
    EXPECT_EQ(text.empty() ? error + "\r\n" : text, printed + "\r\n") << received;
  }
}

TEST(RWHttpReply, PrintsItsLinesAndHasAClass) {
  const RWHttpReply reply = read("HTTP/1.1 200-a\r\n200 b\r\n\r\n");
  EXPECT_EQ(reply.lines()[1].asString(),
            "replyline=[valid=true][cont=false][type=2][text=b][code=200]");
  const RWHttpReply unchanged = read("HTTP/1.1 304 X\r\n\r\n");
  EXPECT_TRUE(unchanged.is3XX());
  EXPECT_FALSE(unchanged.is2XX());
}

TEST(RWHttpReply, ReadsChunksAcrossPauses) {
  const PortalFixture wire(
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3;x\r\nabc\r\n1\rz\n\r\nd",
      {47, 0, 1, 0, 0, 64});
  RWHttpLineReader lines(wire.portal());
  const RWHttpReply reply(lines);
  const auto body = makeBodyPortal("GET", reply, wire.portal());
  char piece[8];
  EXPECT_EQ(body->recv(piece, 8, nullptr), 3) << "a pause inside of a chunk size ended the body";
  EXPECT_EQ(body->recv(piece, 8, nullptr), 1) << "a bare CR or LF ended a chunk size line";
  EXPECT_TRUE(makeBodyPortal("hEaD", reply, wire.portal())->isDone());
}

}  // namespace
}  // namespace orla
