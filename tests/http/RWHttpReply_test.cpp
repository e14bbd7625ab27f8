#include "http/RWHttpReply.h"

#include <gtest/gtest.h>
#include <utility>

#include "http/RWHttpPortal.h"
#include "http/RWHttpRequest.h"
#include "support/ErrorOf.h"
#include "support/PortalFixture.h"

namespace orla {
namespace {

using namespace test;

RWCString readHead(const PortalFixture& wire) {
  RWCString head;
  const RWCString error = errorOf([&] {
    RWHttpLineReader lines(wire.portal());
    while ((head = RWHttpReply(lines).asString()).starts_with("HTTP/1.1 1")) head.clear();
  });
  return head.empty() ? error : head;
}

TEST(RWReplyLine, ParsesCodeSeparatorAndText) {
  const std::pair<const char*, const char*> cases[] = {
      {"250-first", "true][type=2][text=first][code=250]"},
      {"599  two -blanks ", "false][type=5][text= two -blanks ][code=599]"},
      {"2x0 Y", "false][type=2][text=Y][code=2]"}};
  RWReplyLine line;
  for (const auto& [text, expected] : cases) {
    line.parse(text);
    EXPECT_EQ(line.asString(), RWCString("replyline=[valid=true][cont=") + expected);
  }
  for (const char* bad : {"", "20", "600 X", "099 X", "x00 X", "200OK"}) {
    line.parse("250-first");
    EXPECT_EQ(errorOf([&] { line.parse(bad); }),
              "RWReplySyntaxError: reply was '" + RWCString(bad) + "'");
    EXPECT_EQ(line.asString(), "replyline=[valid=false][cont=false][type=0][text=][code=0]");
  }
}

/// The body, received in pieces of at most `most` bytes, and how it ended.
RWCString readBody(const PortalFixture& wire, const RWCString& method, int most) {
  RWCString body, end;
  const RWCString error = errorOf([&] {
    RWHttpLineReader lines(wire.portal());
    const auto portal = makeBodyPortal(method, RWHttpReply(lines), wire.portal());
    char piece[64];
    bool more = true;
    while (const int count = portal->recv(piece, most, &more))
      body.append(piece, static_cast<std::size_t>(count));
    EXPECT_FALSE(more);
    end = portal->isDone() ? "done" : "cut";
  });
  return body + "|" + (end.empty() ? error : end);
}

TEST(RWHttpReply, ReadsHeads) {
  const RWCString closed = "RWReplyError: Connection closed by server";
  const struct {
    RWCString wire, expected, unread = "";
  } cases[] = {
      {"HTTP/1.1 200 OK\r\n\r\nbody", "HTTP/1.1 200 OK\r\n\r\n", "body"},
      {"\r\n\n\r\nHTTP/12.34 404 Not Found\n\n", "HTTP/12.34 404 Not Found\r\n\r\n"},
      // The version may stand anywhere; what is before it stays.
      {"2HTTP/1.1 00 OK\r\n\r\n", "HTTP/1.1 200 OK\r\n\r\n"},
      {"HTTP/HTTP/1.1 200 OK\r\n\r\n", "RWReplySyntaxError: reply was 'HTTP/200 OK'", "\r\n"},
      {"HTTP/1.1 250-a\r\n250-b\r\n250 c\r\nX: 1\r\n\r\n", "HTTP/1.1 250-a\r\nX: 1\r\n\r\n"},
      {"HTTP/1.1 200 OK\r\nB: b\r\na:a\r\nb:  c \r\n::X:: :y\r\nplain\r\nT:\tt\r\n f: z\r\n\r\n",
       "HTTP/1.1 200 OK\r\n f: z\r\nT: \tt\r\nX: :y\r\na: a\r\nb: b, c \r\nplain: \r\n\r\n"},
      {"HTTP/1.1 200 O\rK\r\r\n\n\r\n", "HTTP/1.1 200 O\rK\r\r\r\n\r\n", "\r\n"},
      {"HTTP/1.1 200 OK\r\nA: b\r", closed},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.wire);
    forEverySplit(c.wire, [&](PortalFixture& wire) {
      EXPECT_EQ(readHead(wire), c.expected);
      EXPECT_EQ(wire.unread(), c.unread);
    });
  }
}

TEST(RWHttpReply, LimitsTheHeads) {
  const RWCString interim = "HTTP/1.1 100 X\r\n\r\n", start = "HTTP/1.1 200 OK\r\nA: ";
  const std::size_t room = RWHttpLineReader::kMostBytes - start.size() - 4;
  const RWCString head = start + RWCString(room, 'x') + "\r\n\r\n";
  EXPECT_EQ(readHead(PortalFixture(head)), head) << "a head of exactly the limit";
  EXPECT_EQ(readHead(PortalFixture(interim + head)), "RWHttpReplyError: Reply header too large");
}

TEST(RWHttpPortal, DeliversExactlyTheBody) {
  const RWCString closed = "|RWHttpConnectionError: Server unexpectedly closed connection";
  const RWCString length = "Content-Length: ", coding = "Transfer-Encoding: ";
  const RWCString chunked = coding + "Chunked\r\n";
  const struct {
    RWCString head, rest, expected, unread = "";  // `head` without its status line.
    const char *status = "200", *method = "GET";
  } cases[] = {
      {length + "3\r\n", "abc", "|done", "abc", "200", "hEaD"},
      {chunked, "abc", "|done", "abc", "304"},
      {length + "3\r\n" + coding + "IDENTITY\r\n", "abcdef", "abc|done", "def"},
      {length + "4\r\n", "abc", "abc|cut"},
      {"", "abc", "abc|done"},
      {length + "2\r\nConnection: CLOSE\r\n", "abc", "abc|done"},
      {chunked + length + "1\r\nConnection: close\r\n",
       "3\r\nabc\r\n0000000A;x=\"y\"\r\n0123456789\r\n00\r\n\r\nHTTP", "abc0123456789|done",
       "\r\nHTTP"},
      {chunked, "\r\n\r\n 2 x\r\n\r\n\r\n0 \r\n", "\r\n|done"},
      {chunked, "3\r\nabc\r\n0", "abc" + closed},
      {chunked, "zz\r\n", "|RWHttpReplyError: Unable to evaluate chunk size: zz"},
      {chunked, "ffffffffffffffffffff\r\nab", "ab|cut"},
      {chunked, "-fffffffe\r\nab\r\n0\r\n", "ab|done"},
      {chunked + chunked, "0\r\n",
       "|RWHttpReplyError: Unknown Transfer-Encoding: \"Chunked, Chunked\"", "0\r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.head + c.rest);
    const RWCString all = RWCString("HTTP/1.1 ") + c.status + " X\r\n" + c.head + "\r\n" + c.rest;
    for (const int most : {1, 5, 64}) {
      forEverySplit(all, [&](PortalFixture& wire) {
        EXPECT_EQ(readBody(wire, c.method, most), c.expected);
        EXPECT_EQ(wire.unread(), c.unread);
      });
    }
  }
}

TEST(RWHttpPortal, ReadsChunkSizeLinesUpToALimitAndOverPauses) {
  const RWCString head = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
  const RWCString chunks = "5\r\nabcde\r\n0\r\n";
  EXPECT_EQ(readBody(PortalFixture(head + chunks, {head.size(), 0, 1, 0, 0, 64}), "GET", 64),
            "abcde|done");
  RWCString empty;
  while (empty.size() <= RWHttpLineReader::kMostBytes) empty += "\r\n";
  for (const RWCString& endless : {RWCString((1 << 20) + 1, '0'), empty})
    EXPECT_EQ(readBody(PortalFixture(head + endless + chunks), "GET", 64),
              "|RWHttpReplyError: Chunk size line too large");
}

}  // namespace
}  // namespace orla
