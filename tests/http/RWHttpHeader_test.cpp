#include "http/RWHttpHeader.h"

#include <gtest/gtest.h>

#include "http/RWHttpErrors.h"

namespace orla {
namespace {

TEST(RWHttpHeaderList, SortsByClassThenLabelAndRefusesEqualLabels) {
  RWHttpHeaderList list;
  EXPECT_TRUE(list.insert(RWHttpGenericHeader("b", "1")));
  EXPECT_TRUE(list.insert(RWHttpGenericHeader("A", "2")));
  EXPECT_FALSE(list.insert(RWHttpGenericHeader("a", "3")));
  EXPECT_TRUE(list.insert(RWHttpGenericHeader("X-B", "4")));
  EXPECT_TRUE(list.insert(RWHttpHostHeader("srv")));
  EXPECT_TRUE(list.insert(RWHttpContentLengthHeader(5)));
  EXPECT_FALSE(list.insert(RWHttpGenericHeader("content-length", "6")));
  EXPECT_EQ(list.asString(), "Content-Length: 5\r\nHost: srv:80\r\nA: 2\r\nX-B: 4\r\nb: 1\r\n");

  EXPECT_EQ(list.getValue("x-b"), "4");
  EXPECT_EQ(list.getValue("y"), "");
  EXPECT_TRUE(list.remove("HOST"));
  EXPECT_FALSE(list.remove("HOST"));
  EXPECT_EQ(list.find("host"), RWHttpHeaderList::npos);
  EXPECT_EQ(list.entries(), 4U);
}

TEST(RWHttpHeaderCollector, MergesLinesOfOneLabelUnderTheLastSpelling) {
  RWHttpHeaderCollector collector;
  collector.add("Via", "a");
  collector.add("Age", "1");
  collector.add("vIA", "b");
  collector.add("VIA", "");
  EXPECT_EQ(collector.take().asString(), "Age: 1\r\nVIA: a, b, \r\n");
  EXPECT_EQ(collector.take().asString(), "");
}

TEST(RWHttpContentLengthHeader, ReadsNumbersAsServersWriteThem) {
  const RWCString bad = "RWHttpHeaderParseError: Invalid value for Content-Length header";
  const struct {
    const char* value;
    RWCString expected;
  } cases[] = {{"0", "0"},
               {"5", "5"},
               {" \t42 ", "42"},
               {"+7", "7"},
               {"12abc", "12"},
               {"-1", "-1"},
               {"2147483647", "2147483647"},
               {"2147483648", "-2147483648"},
               {"4294967295", "-1"},
               {"4294967296", bad},
               {"1000000000000000000000000000000", bad},
               {"00", bad},
               {"", bad},
               {"abc", bad},
               {"-", bad}};
  for (const auto& c : cases) {
    RWCString got;
    try {
      got =
          RWHttpContentLengthHeader(RWHttpGenericHeader("content-LENGTH", c.value)).getValueText();
    } catch (const RWHttpHeaderParseError& error) {
      got = error.why();
    }
    EXPECT_EQ(got, c.expected) << c.value;
  }
}

TEST(RWHttpHostHeader, SplitsHostAndPort) {
  const RWCString bad = "RWHttpHeaderParseError: Invalid value for Host header";
  const struct {
    const char* value;
    RWCString expected;
  } cases[] = {{"srv", "srv:80"},       {"srv:", "srv:80"}, {"srv:8080", "srv:8080"},
               {"srv:81:82", "srv:81"}, {"srv:0", "srv:0"}, {"srv:x", bad},
               {"srv:00", bad}};
  for (const auto& c : cases) {
    RWCString got;
    try {
      got = RWHttpHostHeader(RWHttpGenericHeader("HOST", c.value)).getValueText();
    } catch (const RWHttpHeaderParseError& error) {
      got = error.why();
    }
    EXPECT_EQ(got, c.expected) << c.value;
  }
  try {
    RWHttpHostHeader(RWHttpGenericHeader("Hostess", "srv"));
    FAIL() << "another label was taken";
  } catch (const RWHttpHeaderParseError& error) {
    EXPECT_STREQ(error.why(), "RWHttpHeaderParseError: Label information does not match");
  }
}

}  // namespace
}  // namespace orla
