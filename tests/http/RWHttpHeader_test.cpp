#include "http/RWHttpHeader.h"

#include <gtest/gtest.h>

#include "support/ErrorOf.h"

namespace orla {
namespace {

using test::errorOf;

TEST(RWHttpHeaderList, SortsByClassThenLabelAndRefusesEqualLabels) {
  RWHttpHeaderList list;
  EXPECT_TRUE(list.insert(RWHttpGenericHeader("b", "1")));
  EXPECT_TRUE(list.insert(RWHttpGenericHeader("A", "2")));
  EXPECT_FALSE(list.insert(RWHttpGenericHeader("a", "3")));
  EXPECT_TRUE(list.insert(RWHttpHostHeader("srv")));
  EXPECT_TRUE(list.insert(RWHttpContentLengthHeader(5)));
  EXPECT_FALSE(list.insert(RWHttpGenericHeader("content-length", "6")));
  EXPECT_EQ(list.asString(), "Content-Length: 5\r\nHost: srv:80\r\nA: 2\r\nb: 1\r\n");
  EXPECT_EQ(list.getValue("B"), "1");
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
               {"Content-Length", "-2147483648", "-2147483648"},
               {"Content-Length", "-2147483649", kBadLength},
               {"Content-Length", "00", kBadLength},
               {"Content-Length", "", kBadLength},
               {"Content-Lengths", "5", kBadLabel},
               {"HOST", "srv", "srv:80"},
               {"Host", "srv:", "srv:80"},
               {"Host", "srv:81:82", "srv:81"},
               {"Host", "srv:x", kBadHost},
               {"Hos", "srv", kBadLabel}};
  for (const auto& c : cases) {
    const RWHttpGenericHeader header(c.label, c.value);
    RWCString got;
    const RWCString error = errorOf([&] {
      got = *c.value == 's' ? RWHttpHostHeader(header).getValueText()
                            : RWHttpContentLengthHeader(header).getValueText();
    });
    EXPECT_EQ(got.empty() ? error : got, c.expected) << c.value;
  }
}

}  // namespace
}  // namespace orla
