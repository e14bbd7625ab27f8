#include "http/RWHttpReply.h"

#include <gtest/gtest.h>

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

TEST(RWHttpReply, ReadsStatusLines) {
  const struct {
    const char *received, *printed;
  } cases[] = {
      {"\r\n\nHTTP/1.1 200 OK\n", "HTTP/1.1 200 OK\r\n"},  // Empty lines are skipped.
      {"HTTP/12.34 200 OK\r\n", "HTTP/12.34 200 OK\r\n"},
      {"HTTP/1.1 204\r\n", "HTTP/1.1 204\r\n"},
      {"HTTP/1.1 200-a\r\n200 b\r\n", "HTTP/1.1 200-a\r\n200 b\r\n"},  // A continuation.
      {"HTTP/99999999999.1 200 OK\r\n", "HTTP/2147483647.1 200 OK\r\n"},
      {"x HTTP/1.1 200 OK\r\n", "RWReplySyntaxError: reply was 'x 200 OK'"},
      {"HTTP/1.1  200 OK\r\n", "RWReplySyntaxError: reply was ' 200 OK'"},
      {"HTTP/1. 200 OK\r\n", "RWReplySyntaxError: reply was 'HTTP/1. 200 OK'"},
      {"HTTP/1.1 200", "RWReplyError: Connection closed by server"},
  };
  for (const auto& [received, printed] : cases) {
    RWCString text;
    const RWCString error =
        test::errorOf([&, &line = received] { text = read(RWCString(line) + "\r\n").asString(); });
    EXPECT_EQ(text.empty() ? error + "\r\n" : text, RWCString(printed) + "\r\n") << received;
  }
}

TEST(RWHttpReply, ReadsHeaderLines) {
  const struct {
    const char *received, *printed;
  } cases[] = {
      {"a:b\n", "a: b\r\n"},
      {"a:  b \r\n", "a: b \r\n"},                          // Only leading spaces are removed,
      {"a:\tb\r\n", "a: \tb\r\n"},                          // and no tabs.
      {"::a:: :b\r\n", "a: :b\r\n"},                        // Leading colons are removed.
      {"a\r\n", "a: \r\n"},                                 // A line without a colon is a label.
      {" a: b\r\n", " a: b\r\n"},                           // Lines are never folded.
      {"B: 1\r\na: 2\r\nb: 3\r\n", "a: 2\r\nb: 1, 3\r\n"},  // Equal labels merge.
      {"a: b\rc\r\n", "a: b\rc\r\n"},                       // A CR that ends no line stays,
      {"a: b\r\r\n", "a: b\r\r\r\n"},  // with the byte after it, also if that is a CR.
      {"a: b\r\r\r\n", "a: b\r\r\r\n"},
  };
  for (const auto& [received, printed] : cases)
    EXPECT_EQ(read(RWCString("HTTP/1.1 200 OK\r\n") + received + "\r\n").asString(),
              RWCString("HTTP/1.1 200 OK\r\n") + printed + "\r\n")
        << received;
}

TEST(RWHttpReply, PrintsItsLines) {
  const RWHttpReply reply = read("HTTP/1.1 200-a\r\n200 b\r\n\r\n");
  EXPECT_EQ(reply.lines()[1].asString(),
            "replyline=[valid=true][cont=false][type=2][text=b][code=200]");
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
