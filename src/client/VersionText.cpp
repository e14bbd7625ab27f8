#include "client/VersionText.h"

#include <algorithm>

#include "foundation/RWCString.h"

namespace orla {

namespace {

/// Returns the text without the carriage returns and line feeds at its end.
std::string_view stripLineEnd(std::string_view text) noexcept {
  return text.substr(0, text.find_last_not_of("\r\n") + 1);
}

/// Returns true for digits "." digits "." digits, and nothing else.
bool isVersion(std::string_view text) noexcept {
  const std::size_t first = text.find('.');
  if (first == 0 || first == std::string_view::npos) return false;
  const std::size_t second = text.find('.', first + 1);
  if (second == std::string_view::npos || second == first + 1 || second + 1 == text.size())
    return false;
  return std::count(text.begin(), text.end(), '.') == 2 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c == '.' || isDigitAscii(c); });
}

/// Returns the value of the digits at the beginning of `text`, modulo 2^16.
std::uint16_t leadingNumber(std::string_view text) noexcept {
  std::uint16_t value = 0;
  for (const char c : text) {
    if (!isDigitAscii(c)) break;
    value = static_cast<std::uint16_t>(value * 10 + (c - '0'));
  }
  return value;
}

}  // namespace

bool parseVersionText(std::string_view text, std::uint16_t* major, std::uint16_t* minor) noexcept {
  const std::string_view version = stripLineEnd(text);
  if (!isVersion(version)) return false;
  *major = leadingNumber(version);
  *minor = leadingNumber(version.substr(version.find('.') + 1));
  return true;
}

}  // namespace orla
