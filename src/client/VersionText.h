// The server's answer to the version command.
#pragma once

#include <cstdint>
#include <string_view>

namespace orla {

/// Reads digits "." digits "." digits, with carriage returns and line feeds at the end ignored, and
/// nothing else: true, with the first two numbers written, each modulo 2^16. False, and nothing
/// written, for any other text.
bool parseVersionText(std::string_view text, std::uint16_t* major, std::uint16_t* minor) noexcept;

}  // namespace orla
