#include "client/PercentEncode.h"

#include <string_view>

#include "gtest/gtest.h"

namespace orla {
namespace {

using namespace std::string_view_literals;

TEST(PercentEncode, EscapesWhatFits) {
  constexpr std::string_view kCases[][2] = {{"", ""},
                                            {"a b", "a%20b"},
                                            {"AZaz09-_.*", "AZaz09-_.*"},
                                            {"@[`{/:+,~%", "%40%5B%60%7B%2F%3A%2B%2C%7E%25"},
                                            {"\0\x7F\x80\xFF"sv, "%00%7F%80%FF"}};
  for (const auto& [input, expected] : kCases) {
    const auto length = static_cast<std::uint32_t>(input.size());
    const auto needed = static_cast<std::uint32_t>(expected.size() + 1);
    for (const std::uint32_t room : {0u, needed - 1, needed, 64u}) {
      char output[64] = "#";
      std::uint32_t size = room;
      EXPECT_EQ(PercentEncode(input.data(), length, output, &size), room >= needed);
      EXPECT_EQ(size, needed);
      EXPECT_EQ(std::string_view(output), room < needed ? "#" : expected);
    }
  }
  std::uint32_t size = 64;
  EXPECT_FALSE(PercentEncode(nullptr, 1, nullptr, &size) ||
               PercentEncode("a", 1, nullptr, nullptr));
  EXPECT_EQ(size, 64u);
  EXPECT_FALSE(PercentEncode("a", 1, nullptr, &size));
  EXPECT_EQ(size, 2u);
}

}  // namespace
}  // namespace orla
