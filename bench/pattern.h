// The bytes of every large body. The server sends them, and the driver compares downloaded files
// with them.
#pragma once

#include <cstddef>
#include <string>

namespace bench {

/// The pattern repeats after this many bytes.
inline constexpr std::size_t kPatternSize = 64 * 1024;

/// Returns the first `size` bytes of the repeated pattern.
std::string makePattern(std::size_t size = kPatternSize);

}  // namespace bench
