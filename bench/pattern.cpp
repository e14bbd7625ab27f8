#include "pattern.h"

#include <cstdint>

namespace bench {

std::string makePattern(std::size_t size) {
  std::string bytes(size, '\0');
  std::uint32_t state = 1;
  for (std::size_t i = 0; i < size; ++i) {
    if (i % kPatternSize == 0) state = 1;
    state = state * 1664525 + 1013904223;
    bytes[i] = static_cast<char>(state >> 24);
  }
  return bytes;
}

}  // namespace bench
