#include "client/PercentEncode.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "foundation/RWCString.h"

namespace orla {

namespace {

bool isUnescaped(char c) noexcept {
  const char lower = toLowerAscii(c);
  return (lower >= 'a' && lower <= 'z') || isDigitAscii(c) || c == '-' || c == '_' || c == '.' ||
         c == '*';
}

}  // namespace

bool PercentEncode(const char* input, std::uint32_t length, char* output,
                   std::uint32_t* size) noexcept {
  if (!input || !size) return false;

  const std::string_view bytes(input, length);
  std::uint64_t needed = 1;
  for (const char c : bytes) needed += isUnescaped(c) ? 1 : 3;
  const bool fits = output && needed <= *size;
  *size = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(needed, std::numeric_limits<std::uint32_t>::max()));
  if (!fits) return false;

  static constexpr char kDigits[] = "0123456789ABCDEF";
  for (const char c : bytes) {
    if (isUnescaped(c)) {
      *output++ = c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      *output++ = '%';
      *output++ = kDigits[byte >> 4];
      *output++ = kDigits[byte & 0xF];
    }
  }
  *output = '\0';
  return true;
}

}  // namespace orla
