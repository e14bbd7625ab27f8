#include "http/RWHttpRequest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "http/RWHttpErrors.h"
#include "support/PortalFixture.h"

namespace orla {
namespace {

using test::PortalFixture;
using testing::ElementsAre;

/// A body that does not know its length.
class UnknownLengthBody : public RWHttpRequestStringBody {
 public:
  using RWHttpRequestStringBody::RWHttpRequestStringBody;
  std::int64_t getLength() const override { return -1; }
};

RWHttpRequest requestWithBody(RWHttpRequestBody* body) {
  RWHttpRequest request(kHttpPost, "/p");
  request.setBody(RWTHandle<RWHttpRequestBody>(body));
  return request;
}

std::vector<RWCString> writesOf(const RWHttpRequest& request) {
  const PortalFixture wire;
  request.write(wire.portal(), "h", 8080);
  return wire.writes();
}

TEST(RWHttpRequest, WritesLineAndHeadOnceEach) {
  EXPECT_THAT(writesOf(RWHttpRequest(kHttpGet, "/")),
              ElementsAre("GET / HTTP/1.1\r\n", "Host: h:8080\r\n\r\n"));

  RWHttpRequest request = requestWithBody(new RWHttpRequestStringBody("hello"));
  request.setMinorVersion(0);
  request.headers().insert(RWHttpGenericHeader("Accept", "*"));
  EXPECT_THAT(writesOf(request),
              ElementsAre("POST /p HTTP/1.0\r\n",
                          "Content-Length: 5\r\nHost: h:8080\r\nAccept: *\r\n\r\n", "hello"));
  EXPECT_EQ(request.headers().entries(), 1U) << "the caller's own headers changed";
}

TEST(RWHttpRequest, KeepsTheCallersFramingHeaders) {
  RWHttpRequest request = requestWithBody(new RWHttpRequestStringBody("hello"));
  request.headers().insert(RWHttpGenericHeader("content-length", "3"));
  request.headers().insert(RWHttpGenericHeader("host", ""));
  EXPECT_THAT(writesOf(request),
              ElementsAre("POST /p HTTP/1.1\r\n", "content-length: 3\r\nhost: \r\n\r\n", "hello"));

  request = requestWithBody(new UnknownLengthBody("abc"));
  request.headers().insert(RWHttpGenericHeader("transfer-encoding", "x"));
  request.headers().insert(RWHttpHostHeader("other", 1));
  EXPECT_THAT(writesOf(request),
              ElementsAre("POST /p HTTP/1.1\r\n", "Host: other:1\r\ntransfer-encoding: x\r\n\r\n",
                          "3\r\n", "abc\r\n", "0\r\n\r\n"));
}

TEST(RWHttpRequest, SendsBodiesInPieces) {
  const RWCString bytes = RWCString(4080, 'a') + RWCString(4080, 'b') + RWCString(1840, 'c');
  EXPECT_THAT(writesOf(requestWithBody(new RWHttpRequestStringBody(bytes))),
              ElementsAre("POST /p HTTP/1.1\r\n", "Content-Length: 10000\r\nHost: h:8080\r\n\r\n",
                          bytes.substr(0, 4080), bytes.substr(4080, 4080), bytes.substr(8160)));
  EXPECT_THAT(
      writesOf(requestWithBody(new UnknownLengthBody(bytes))),
      ElementsAre("POST /p HTTP/1.1\r\n", "Host: h:8080\r\nTransfer-Encoding: chunked\r\n\r\n",
                  "ff0\r\n", bytes.substr(0, 4080) + "\r\n", "ff0\r\n",
                  bytes.substr(4080, 4080) + "\r\n", "730\r\n", bytes.substr(8160) + "\r\n",
                  "0\r\n\r\n"));
}

TEST(RWHttpRequest, RefusesChunksBeforeVersion11) {
  const struct {
    int major, minor;
    bool refused;
  } cases[] = {{0, 9, true}, {1, 0, true}, {1, 1, false}, {2, 0, false}};
  for (const auto& c : cases) {
    const PortalFixture wire;
    RWHttpRequest request = requestWithBody(new UnknownLengthBody("x"));
    request.setMajorVersion(c.major);
    request.setMinorVersion(c.minor);
    try {
      request.write(wire.portal(), "h", 80);
      EXPECT_FALSE(c.refused) << c.major << "." << c.minor;
    } catch (const RWHttpRequestError& error) {
      EXPECT_TRUE(c.refused) << c.major << "." << c.minor;
      EXPECT_STREQ(error.why(),
                   "RWHttpRequestError: Transfer-Encoding: chunked only supported with HTTP/1.1 or "
                   "higher requests.");
      EXPECT_EQ(wire.written(), "");
    }
  }
}

}  // namespace
}  // namespace orla
