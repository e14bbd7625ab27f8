// The bytes of every body: what the server sends and the driver finds in the downloaded file.
#pragma once

#include <cstddef>
#include <string>

namespace bench {

/// The pattern repeats after this many bytes.
inline constexpr std::size_t kPatternSize = 64 * 1024;

/// `size` bytes of it, a multiple of kPatternSize; no two places in one period look alike.
std::string makePattern(std::size_t size = kPatternSize);

}  // namespace bench
