// The bytes of every body, which the server sends and the driver checks in the downloaded file.
#pragma once

#include <cstddef>
#include <string>

namespace bench {

/// The pattern repeats after this many bytes.
inline constexpr std::size_t kPatternSize = 64 * 1024;

/// Returns `size` bytes of the pattern, where `size` is a multiple of kPatternSize.
std::string makePattern(std::size_t size = kPatternSize);

}  // namespace bench
