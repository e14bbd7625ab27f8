#include "platform/winapi.h"

#include <gtest/gtest.h>

namespace orla {
namespace {

TEST(Format, WritesAtMostTheSizeAndTerminatesOnlyWhatIsShorter) {
  char buffer[] = "######";
  EXPECT_EQ(_snprintf(buffer, 4, "%s", "abcd"), 4);
  EXPECT_STREQ(buffer, "abcd##");
  EXPECT_EQ(_snprintf(buffer, 4, "%d", 12345), -1);
  EXPECT_STREQ(buffer, "1234##");
  EXPECT_EQ(_snprintf(buffer, 4, "%s", "xyz"), 3);
  EXPECT_STREQ(buffer, "xyz");
}

}  // namespace
}  // namespace orla
