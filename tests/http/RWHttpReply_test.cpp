#include "http/RWHttpReply.h"

#include <gtest/gtest.h>

#include "http/RWHttpErrors.h"
#include "http/RWHttpPortal.h"
#include "http/RWHttpRequest.h"
#include "support/PortalFixture.h"

namespace orla {
namespace {

using test::forEverySplit;
using test::PortalFixture;

/// The reply as its head prints, or the message of the error.
RWCString readHead(const PortalFixture& wire) {
  try {
    RWHttpLineReader lines(wire.portal());
    return RWHttpReply(lines).asString();
  } catch (const RWxmsg& error) {
    return error.why();
  }
}

/// The reply's body to a request of `method`, received in pieces of at most `most` bytes, and how
/// it ended.
RWCString readBody(const PortalFixture& wire, const RWCString& method, int most) {
  RWCString body;
  try {
    RWHttpLineReader lines(wire.portal());
    const RWHttpReply reply(lines);
    const auto portal = makeBodyPortal(method, reply, wire.portal());
    char piece[64];
    while (const int count = portal->recv(piece, most, nullptr))
      body.append(piece, static_cast<std::size_t>(count));
    return body + (portal->isDone() ? "|done" : "|cut");
  } catch (const RWxmsg& error) {
    return body + "|" + error.why();
  }
}

TEST(RWHttpReply, ReadsHeads) {
  const RWCString closed = "RWReplyError: Connection closed by server";
  const struct {
    RWCString wire;
    RWCString expected;
    RWCString unread = "";
  } cases[] = {
      {"HTTP/1.1 200 OK\r\n\r\nbody", "HTTP/1.1 200 OK\r\n\r\n", "body"},
      {"\r\n\n\r\nHTTP/1.0 404 Not Found\n\n", "HTTP/1.0 404 Not Found\r\n\r\n"},
      {"HTTP/12.34 204 \r\n\r\n", "HTTP/12.34 204 \r\n\r\n"},
      {"HTTP/1.1 200\r\n\r\n", "HTTP/1.1 200\r\n\r\n"},
      {"HTTP/99999999999.1 200 OK\r\n\r\n", "HTTP/2147483647.1 200 OK\r\n\r\n"},
      // The version may stand anywhere; what is before it stays.
      {"2HTTP/1.1 00 OK\r\n\r\n", "HTTP/1.1 200 OK\r\n\r\n"},
      {"HTTP/HTTP/1.1 200 OK\r\n\r\n", "RWReplySyntaxError: reply was 'HTTP/200 OK'", "\r\n"},
      {"HTTP/1.1 250-a\r\n250-b\r\n250 c\r\nX: 1\r\n\r\n", "HTTP/1.1 250-a\r\nX: 1\r\n\r\n"},
      {"HTTP/1.1 250-a\r\nHTTP/1.1 250 b\r\n\r\n", "RWReplySyntaxError: reply was 'HTTP/1.1 250 b'",
       "\r\n"},
      {"HTTP/1.1 200 OK\r\nB: b\r\na:a\r\nB:  c \r\n\r\n",
       "HTTP/1.1 200 OK\r\nB: b, c \r\na: a\r\n\r\n"},
      {"HTTP/1.1 200 OK\r\n::X:: :y\r\nplain\r\nT:\tt\r\n folded: z\r\n\r\n",
       "HTTP/1.1 200 OK\r\n folded: z\r\nT: \tt\r\nX: :y\r\nplain: \r\n\r\n"},
      {RWCString("HTTP/1.1 200 OK\r\nN: a\0b\xFF\r\n\r\n", 28),
       RWCString("HTTP/1.1 200 OK\r\nN: a\0b\xFF\r\n\r\n", 28)},
      {"HTTP/1.1 200 O\rK\r\r\n\n\r\n", "HTTP/1.1 200 O\rK\r\r\r\n\r\n", "\r\n"},
      {"HTTP/1.1 600 X\r\n\r\n", "RWReplySyntaxError: reply was '600 X'", "\r\n"},
      {"HTTP/1. 200 OK\r\n\r\n", "RWReplySyntaxError: reply was 'HTTP/1. 200 OK'", "\r\n"},
      {"http/1.1 200 OK\r\n\r\n", "RWReplySyntaxError: reply was 'http/1.1 200 OK'", "\r\n"},
      {"", closed},
      {"\r\n", closed},
      {"HTTP/1.1 200 OK", closed},
      {"HTTP/1.1 200 OK\r\nA: b\r", closed},
      {"HTTP/1.1 200 OK\r\nA: b\r\n", closed},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.wire);
    forEverySplit(c.wire, [&](PortalFixture& wire) {
      EXPECT_EQ(readHead(wire), c.expected);
      EXPECT_EQ(wire.unread(), c.unread);
    });
  }
}

TEST(RWHttpReply, LimitsTheHead) {
  const RWCString line = "A: " + RWCString(1021, 'x') + "\r\n";  // 1026 bytes.
  RWCString wire = "HTTP/1.1 200 OK\r\n";
  while (wire.size() < RWHttpLineReader::kMostBytes) wire += line;
  EXPECT_EQ(readHead(PortalFixture(wire + "\r\n")), "RWHttpReplyError: Reply header too large");

  const RWCString end = "\r\n\r\n";
  wire = "HTTP/1.1 200 OK\r\nA: ";
  wire += RWCString(RWHttpLineReader::kMostBytes - wire.size() - end.size(), 'x') + end;
  EXPECT_EQ(readHead(PortalFixture(wire)), wire) << "a head of exactly the limit";
}

TEST(RWHttpPortal, DeliversExactlyTheBody) {
  const RWCString unexpected = "|RWHttpConnectionError: Server unexpectedly closed connection";
  const struct {
    RWCString head;  // Behind the status line.
    RWCString rest;  // Behind the head.
    RWCString expected;
    RWCString unread = "";
    const char* status = "200";
    const char* method = "GET";
  } cases[] = {
      // No body.
      {"Content-Length: 3\r\n", "abc", "|done", "abc", "200", "hEaD"},
      {"Content-Length: 3\r\n", "abc", "|done", "abc", "204"},
      {"Transfer-Encoding: gzip\r\n", "abc", "|done", "abc", "304"},
      // A length.
      {"Content-Length: 3\r\n", "abcdef", "abc|done", "def"},
      {"Content-Length: 0\r\n", "abc", "|done", "abc"},
      {"Content-Length: 4\r\n", "abc", "abc|cut"},
      {"Content-Length: -1\r\n", "abc", "abc|cut"},
      {"Content-Length: x\r\n", "",
       "|RWHttpHeaderParseError: Invalid value for Content-Length header"},
      {"Content-Length: 4294967299\r\n", "abc",
       "|RWHttpHeaderParseError: Invalid value for Content-Length header", "abc"},
      {"Content-Length: 3\r\nTransfer-Encoding: IDENTITY\r\n", "abcd", "abc|done", "d"},
      // Until the end of the connection.
      {"", "abc", "abc|done"},
      {"", "", "|done"},
      {"Content-Length: 2\r\nConnection: CLOSE\r\n", "abc", "abc|done"},
      {"Content-Length: 2\r\nConnection: close, x\r\n", "abc", "ab|done", "c"},
      // Chunks; the trailer's end stays.
      {"Transfer-Encoding: chunked\r\n", "3\r\nabc\r\n00000004;x=\"y\"\r\ndefg\r\n0\r\n\r\nHTTP",
       "abcdefg|done", "\r\nHTTP"},
      {"Transfer-Encoding: Chunked\r\nContent-Length: 1\r\nConnection: close\r\n",
       "a\r\n0123456789\r\n00\r\n", "0123456789|done"},
      {"Transfer-Encoding: chunked\r\n", "\r\n\r\n 2 x\r\n\r\n\r\n0 \r\n", "\r\n|done"},
      {"Transfer-Encoding: chunked\r\n", "1\n2\r\na\r\n0\r\n", "a|done"},
      {"Transfer-Encoding: chunked\r\n", "1\r2\r\na\r\n0\r\n", "a|done"},
      {"Transfer-Encoding: chunked\r\n", "3\r\nab", "ab|cut"},
      {"Transfer-Encoding: chunked\r\n", "3\r\nabc", "abc" + unexpected},
      {"Transfer-Encoding: chunked\r\n", "3\r\nabc\r\n0", "abc" + unexpected},
      {"Transfer-Encoding: chunked\r\n", "", unexpected},
      {"Transfer-Encoding: chunked\r\n", "zz\r\n",
       "|RWHttpReplyError: Unable to evaluate chunk size: zz"},
      {"Transfer-Encoding: chunked\r\n", ";\r\n",
       "|RWHttpReplyError: Unable to evaluate chunk size: "},
      {"Transfer-Encoding: chunked\r\n", "ffffffffffffffffffff\r\nab", "ab|cut"},
      {"Transfer-Encoding: gzip\r\n", "", "|RWHttpReplyError: Unknown Transfer-Encoding: \"gzip\""},
      {"Transfer-Encoding: chunked\r\ntransfer-encoding: chunked\r\n", "0\r\n",
       "|RWHttpReplyError: Unknown Transfer-Encoding: \"chunked, chunked\"", "0\r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.head + c.rest);
    const RWCString wireText =
        RWCString("HTTP/1.1 ") + c.status + " X\r\n" + c.head + "\r\n" + c.rest;
    for (const int most : {1, 5, 64}) {
      forEverySplit(wireText, [&](PortalFixture& wire) {
        EXPECT_EQ(readBody(wire, c.method, most), c.expected);
        EXPECT_EQ(wire.unread(), c.unread);
      });
    }
  }
}

TEST(RWHttpPortal, LimitsChunkSizeLines) {
  const RWCString head = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
  RWCString empty;
  while (empty.size() <= RWHttpLineReader::kMostBytes) empty += "\r\n";
  for (const RWCString& endless : {RWCString((1 << 20) + 1, '0'), empty})
    EXPECT_EQ(readBody(PortalFixture(head + endless + "5\r\nabcde\r\n0\r\n"), "GET", 64),
              "|RWHttpReplyError: Chunk size line too large");
}

}  // namespace
}  // namespace orla
