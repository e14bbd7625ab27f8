#include "foundation/RWCString.h"

#include <gtest/gtest.h>

namespace orla {
namespace {

TEST(RWCString, KnowsAsciiAndBlanksAlone) {
  EXPECT_EQ(toLowerAscii(RWCString("@AZ[\xC4`z{\0Z", 10)), RWCString("@az[\xC4`z{\0z", 10));
  EXPECT_FALSE(equalIgnoringCase("host", "hos") || equalIgnoringCase("hos", "host"));
  EXPECT_EQ(stripLeadingBlanks(" \ta "), "\ta ");
  EXPECT_EQ(stripTrailingBlanks(" a\t "), " a\t");
  EXPECT_EQ(stripLeadingBlanks("  ").size() + stripTrailingBlanks("  ").size(), 0U);
}

}  // namespace
}  // namespace orla
