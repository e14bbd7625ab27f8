#include "foundation/RWCString.h"

#include <algorithm>

namespace orla {

RWCString toLowerAscii(RWCString text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) { return toLowerAscii(c); });
  return text;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return x == y || toLowerAscii(x) == toLowerAscii(y); });
}

int compareIgnoringCase(std::string_view a, std::string_view b) noexcept {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (a[i] == b[i]) continue;
    const char x = toLowerAscii(a[i]);
    const char y = toLowerAscii(b[i]);
    if (x != y) return static_cast<unsigned char>(x) < static_cast<unsigned char>(y) ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

std::string_view stripTrailingBlanks(std::string_view text) noexcept {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string_view stripLeadingBlanks(std::string_view text) noexcept {
  return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

}  // namespace orla
