// The byte string of the library and the few operations on it that the standard string lacks.
//
// Letters are ASCII's and the locale plays no part: protocol texts mean the same on every machine.
#pragma once

#include <string>
#include <string_view>

namespace orla {

/// A counted string of 8-bit characters, zero bytes included, that also reads as zero-terminated.
using RWCString = std::string;

constexpr char toLowerAscii(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
RWCString toLowerAscii(RWCString text);

constexpr bool isDigitAscii(char c) noexcept {
  return c >= '0' && c <= '9';
}

/// True when the texts are equal but for the case of their letters.
bool equalIgnoringCase(std::string_view a, std::string_view b) noexcept;

/// Below, at or above 0 as `a` comes before `b`, equals it or comes behind it, byte by byte, the case
/// of letters ignored.
int compareIgnoringCase(std::string_view a, std::string_view b) noexcept;

/// The text without the blanks (space only) at its end.
std::string_view stripTrailingBlanks(std::string_view text) noexcept;

/// The text without the blanks (space only) at its beginning.
std::string_view stripLeadingBlanks(std::string_view text) noexcept;

}  // namespace orla
