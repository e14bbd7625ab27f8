#include "http/RWHttpRequest.h"

#include <gmock/gmock.h>

#include "support/ErrorOf.h"
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

TEST(RWHttpRequest, KeepsTheCallersFramingHeaders) {
  RWHttpRequest request = post(new RWHttpRequestStringBody("hello"));
  request.headers().insert(RWHttpGenericHeader("content-length", "3"));
  request.headers().insert(RWHttpGenericHeader("host", ""));
  EXPECT_THAT(writesOf(request),
              ElementsAre("POST /p HTTP/1.1\r\n", "content-length: 3\r\nhost: \r\n\r\n", "hello"));
}

TEST(RWHttpHeaderList, SortsByClassThenLabelAndRefusesEqualLabels) {
  RWHttpHeaderList list;
  for (const char* label : {"b", "A", "Z"})
    EXPECT_TRUE(list.insert(RWHttpGenericHeader(label, "1")));
  EXPECT_TRUE(list.insert(RWHttpHostHeader("srv")));
  EXPECT_TRUE(list.insert(RWHttpContentLengthHeader(5)));
  for (const char* label : {"a", "content-length"})
    EXPECT_FALSE(list.insert(RWHttpGenericHeader(label, "6")));
  EXPECT_EQ(list.asString(), "Content-Length: 5\r\nHost: srv:80\r\nA: 1\r\nZ: 1\r\nb: 1\r\n");
  EXPECT_TRUE(list.remove("HOST"));
  EXPECT_FALSE(list.remove("HOST"));
}

const RWCString kBadLength = "RWHttpHeaderParseError: Invalid value for Content-Length header";
const RWCString kBadHost = "RWHttpHeaderParseError: Invalid value for Host header";
const RWCString kBadLabel = "RWHttpHeaderParseError: Label information does not match";

TEST(RWHttpHeader, ReadsValuesAsServersWriteThem) {
  const struct {
    const char *label, *value;
    RWCString expected;
  } cases[] = {{"content-LENGTH", "0", "0"},
               {"Content-Length", " \t+42x", "42"},
               {"Content-Length", "4294967295", "-1"},
               {"Content-Length", "4294967296", kBadLength},
               {"Content-Length", "-2147483649", kBadLength},
               {"Content-Length", "00", kBadLength},
               {"Content-Lengths", "5", kBadLabel},
               {"HOST", "srv", "srv:80"},
               {"Host", "srv:81:82", "srv:81"},
               {"Host", "srv:x", kBadHost},
               {"Hos", "srv", kBadLabel}};
  for (const auto& c : cases) {
    const RWHttpGenericHeader header(c.label, c.value);
    RWCString got;
    const RWCString error = test::errorOf([&] {
      got = *c.value == 's' ? RWHttpHostHeader(header).getValueText()
                            : RWHttpContentLengthHeader(header).getValueText();
    });
    EXPECT_EQ(got.empty() ? error : got, c.expected) << c.value;
  }
}

}  // namespace
}  // namespace orla
