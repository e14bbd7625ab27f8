#include "platform/winapi.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace orla {
namespace {

TEST(Format, WritesAtMostTheSizeAndTerminatesOnlyWhatIsShorter) {
  const struct {
    std::size_t size;
    const char* text;
    int result;
    const char* buffer;  // All eight bytes, '#' where nothing was written, '0' for a zero byte.
  } rows[] = {
      {5, "", 0, "0#######"},      {5, "abc", 3, "abc0####"},     {5, "abcd", 4, "abcd0###"},
      {5, "abcde", 5, "abcde###"}, {5, "abcdef", -1, "abcde###"}, {1, "a", 1, "a#######"},
      {1, "ab", -1, "a#######"},   {0, "a", -1, "########"},
  };
  for (const auto& row : rows) {
    char buffer[] = "########";
    EXPECT_EQ(_snprintf(buffer, row.size, "%s", row.text), row.result) << row.text;
    std::string seen(buffer, 8);
    for (char& character : seen)
      if (character == '\0') character = '0';
    EXPECT_EQ(seen, row.buffer) << row.text;
  }
  char number[5];
  EXPECT_EQ(_snprintf(number, sizeof number, "%d%c%04x", 12, '|', 0xABU), -1);
  EXPECT_EQ(std::memcmp(number, "12|00", 5), 0);
}

}  // namespace
}  // namespace orla
