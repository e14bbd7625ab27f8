#include "client/PercentEncode.h"

#include <string_view>

#include "gtest/gtest.h"

namespace orla {
namespace {

using namespace std::string_view_literals;

TEST(PercentEncode, EscapesWhatFits) {
  const struct {
    std::string_view input, expected;
  } cases[] = {
      {"", ""},
      {"a b", "a%20b"},
      {"AZaz09-_.*", "AZaz09-_.*"},
      {"@[`{/:+,~%", "%40%5B%60%7B%2F%3A%2B%2C%7E%25"},
      {"\0\x7F\x80\xFF"sv, "%00%7F%80%FF"},
  };
  for (const auto& [input, expected] : cases) {
    const auto length = static_cast<std::uint32_t>(input.size());
    const auto needed = static_cast<std::uint32_t>(expected.size() + 1);
    char output[64];
    for (const std::uint32_t room : {0u, needed - 1, needed, 64u}) {
      output[0] = '#';
      std::uint32_t size = room;
      EXPECT_EQ(PercentEncode(input.data(), length, output, &size), room >= needed);
      EXPECT_EQ(size, needed);
      EXPECT_EQ(room < needed ? std::string_view(output, 1) : output,
                room < needed ? "#" : expected);
    }
    std::uint32_t size = 64;
    EXPECT_FALSE(PercentEncode(nullptr, length, output, &size));
    EXPECT_EQ(size, 64u) << "without input nothing is written";
    EXPECT_FALSE(PercentEncode(input.data(), length, output, nullptr));
    EXPECT_FALSE(PercentEncode(input.data(), length, nullptr, &size));
    EXPECT_EQ(size, needed);
  }
}

}  // namespace
}  // namespace orla
