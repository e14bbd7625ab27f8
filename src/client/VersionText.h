// The server's answer to the version command.
#pragma once

#include <cstdint>
#include <string_view>

namespace orla {

/// Parses digits "." digits "." digits, and ignores carriage returns and line feeds at the end.
/// Returns true and writes the first two numbers, each modulo 2^16. Returns false and writes
/// nothing for any other text.
bool parseVersionText(std::string_view text, std::uint16_t* major, std::uint16_t* minor) noexcept;

}  // namespace orla
