#include "foundation/RWCString.h"

#include <gtest/gtest.h>

namespace orla {
namespace {

TEST(RWCString, KnowsAsciiAlone) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool capital = byte >= 65 && byte <= 90;
    EXPECT_EQ(toLowerAscii(c), static_cast<char>(capital ? byte + 32 : byte)) << byte;
    EXPECT_EQ(isDigitAscii(c), byte >= 48 && byte <= 57) << byte;
  }
  EXPECT_EQ(toLowerAscii(RWCString("A\0Z", 3)), RWCString("a\0z", 3));
  EXPECT_TRUE(equalIgnoringCase("Content-LENGTH", "content-length"));
  for (const std::string_view other : {"hos", "host ", "h\xD3st", "h\x0Fst"})
    EXPECT_FALSE(equalIgnoringCase("host", other) || equalIgnoringCase(other, "host")) << other;
}

TEST(RWCString, StripsBlanksFromOneEndOnly) {
  const struct {
    std::string_view text, leading, trailing;
  } cases[] = {
      {"", "", ""}, {"  ", "", ""}, {" a b ", "a b ", " a b"}, {"\ta\t", "\ta\t", "\ta\t"}};
  for (const auto& c : cases) {
    EXPECT_EQ(stripLeadingBlanks(c.text), c.leading);
    EXPECT_EQ(stripTrailingBlanks(c.text), c.trailing);
  }
}

}  // namespace
}  // namespace orla
