#include "foundation/RWCString.h"

#include <gtest/gtest.h>

namespace orla {

TEST(RWCString, LowersAsciiLettersOnly) {
  EXPECT_EQ(toLowerAscii(RWCString("@AZ[\xC4`z{\0Z", 10)), RWCString("@az[\xC4`z{\0z", 10));
}

TEST(RWCString, ComparesIgnoringTheCaseOfAsciiLetters) {
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
  EXPECT_EQ(stripLeadingBlanks(" \ta "), "\ta ");
  EXPECT_EQ(stripTrailingBlanks(" a\t "), " a\t");
  EXPECT_EQ(stripLeadingBlanks("  "), "");
  EXPECT_EQ(stripTrailingBlanks("  "), "");
}

}  // namespace orla
