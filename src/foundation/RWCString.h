// The byte string of the library and the few operations on it that the standard string lacks.
//
// Only ASCII letters count as letters, and the locale is ignored, because protocol texts must mean
// the same on every machine.
#pragma once

#include <string>
#include <string_view>

namespace orla {

/// A counted string of 8-bit characters. It may contain zero bytes and is also zero-terminated.
using RWCString = std::string;

constexpr char toLowerAscii(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
RWCString toLowerAscii(RWCString text);

constexpr bool isDigitAscii(char c) noexcept {
  return c >= '0' && c <= '9';
}

/// Returns true if the texts are equal when the case of letters is ignored.
bool equalIgnoringCase(std::string_view a, std::string_view b) noexcept;

/// Compares byte by byte, ignoring the case of letters. Returns -1 if `a` sorts before `b`, 0 if
/// they are equal, 1 if `a` sorts after `b`.
int compareIgnoringCase(std::string_view a, std::string_view b) noexcept;

/// Returns the text without the spaces at its end. Tabs stay.
std::string_view stripTrailingBlanks(std::string_view text) noexcept;

/// Returns the text without the spaces at its beginning. Tabs stay.
std::string_view stripLeadingBlanks(std::string_view text) noexcept;

}  // namespace orla
