#include "http/RWHttpRequest.h"

#include <gmock/gmock.h>
#include <utility>

#include "support/PortalFixture.h"

namespace orla {
namespace {

using testing::ElementsAre;

RWHttpRequest post(RWHttpRequestBody* body) {
  RWHttpRequest request(kHttpPost, "/p");
  request.setBody(RWTHandle<RWHttpRequestBody>(body));
  return request;
}

std::vector<RWCString> writesOf(const RWHttpRequest& request) {
  const test::PortalFixture wire;
  request.write(wire.portal(), "h", 8080);
  return wire.writes();
}

TEST(RWHttpRequest, WritesLineAndHeadOnceEachThenPieces) {
  struct UnknownLengthBody : RWHttpRequestStringBody {
    using RWHttpRequestStringBody::RWHttpRequestStringBody;
    std::int64_t getLength() const override { return -1; }
  };
  const RWCString a(4080, 'a'), b(4080, 'b'), c(1840, 'c');
  RWHttpRequest request = post(new RWHttpRequestStringBody(a + b + c));
  request.setMinorVersion(0);
  request.headers().insert(RWHttpGenericHeader("A", "*"));
  EXPECT_THAT(writesOf(request),
              ElementsAre("POST /p HTTP/1.0\r\n",
                          "Content-Length: 10000\r\nHost: h:8080\r\nA: *\r\n\r\n", a, b, c));
  EXPECT_EQ(request.headers().entries(), 1U) << "the caller's own headers changed";
  EXPECT_THAT(writesOf(post(new UnknownLengthBody(a + b + c))),
              ElementsAre("POST /p HTTP/1.1\r\n",
                          "Host: h:8080\r\nTransfer-Encoding: chunked\r\n\r\n", "ff0\r\n",
                          a + "\r\n", "ff0\r\n", b + "\r\n", "730\r\n", c + "\r\n", "0\r\n\r\n"));
}

TEST(RWHttpRequest, SortsHeadersAndKeepsTheCallersOwn) {
  RWHttpRequest request = post(new RWHttpRequestStringBody("hello"));
  for (const auto& [label, value] :
       {std::pair("b", "1"), {"Z", "2"}, {"host", ""}, {"A", "3"}, {"content-length", "3"}})
    EXPECT_TRUE(request.headers().insert(RWHttpGenericHeader(label, value)));
  EXPECT_FALSE(request.headers().insert(RWHttpGenericHeader("a", "4")));
  EXPECT_TRUE(request.headers().remove("z"));
  EXPECT_FALSE(request.headers().remove("z"));
  EXPECT_THAT(writesOf(request),
              ElementsAre("POST /p HTTP/1.1\r\n",
                          "A: 3\r\nb: 1\r\ncontent-length: 3\r\nhost: \r\n\r\n", "hello"));
}

}  // namespace
}  // namespace orla
