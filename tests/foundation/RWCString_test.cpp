#include "foundation/RWCString.h"

#include <gtest/gtest.h>

namespace orla {
namespace {

TEST(RWCString, KnowsAsciiAndBlanksAlone) {
  const struct {
    RWCString text, lower;
  } cases[] = {{"@AZ[", "@az["}, {"\xC4`z{", "\xC4`z{"}, {RWCString("A\0Z", 3), {"a\0z", 3}}};
  for (const auto& c : cases) EXPECT_EQ(toLowerAscii(c.text), c.lower);
  EXPECT_TRUE(isDigitAscii('0') && isDigitAscii('9') && !isDigitAscii('/') && !isDigitAscii(':'));
  EXPECT_TRUE(equalIgnoringCase("Content-LENGTH", "content-length"));
  EXPECT_FALSE(equalIgnoringCase("host", "hos") || equalIgnoringCase("hos", "host"));
  EXPECT_EQ(stripLeadingBlanks(" \ta "), "\ta ");
  EXPECT_EQ(stripTrailingBlanks(" a\t "), " a\t");
  EXPECT_EQ(stripLeadingBlanks("  ").size() + stripTrailingBlanks("  ").size(), 0U);
}

}  // namespace
}  // namespace orla
