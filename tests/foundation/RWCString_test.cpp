#include "foundation/RWCString.h"

#include <gtest/gtest.h>

namespace orla {

TEST(RWCString, LowersAndComparesAsciiLettersOnly) {
  EXPECT_EQ(toLowerAscii(RWCString("@AZ[\xC4`z{\0Z", 10)), RWCString("@az[\xC4`z{\0z", 10));
  const struct {
    const char *a, *b;
    int order;
  } cases[] = {{"Host", "hOST", 0},  {"host", "hos", 1}, {"HOS", "host", -1},
               {"", "", 0},          {"a_", "AB", -1},   {"Z", "a", 1},
               {"\xC4", "\xE4", -1}, {"z", "\x80", -1},  {"a-b", "A-B", 0}};
  for (const auto& [a, b, order] : cases) {
    EXPECT_EQ(compareIgnoringCase(a, b), order) << a << " and " << b;
    EXPECT_EQ(compareIgnoringCase(b, a), -order) << b << " and " << a;
    EXPECT_EQ(equalIgnoringCase(a, b), order == 0) << a << " and " << b;
  }
}

TEST(RWCString, StripsSpacesOnly) {
  for (const RWCString text : {"", "\ta", "a\t"}) {
    EXPECT_EQ(stripLeadingBlanks("  " + text), text);
    EXPECT_EQ(stripTrailingBlanks(text + "  "), text);
  }
}

}  // namespace orla
