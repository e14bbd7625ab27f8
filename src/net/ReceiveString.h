// Receiving into a string.
#pragma once

#include <cstddef>

#include "foundation/RWCString.h"

namespace orla {

/// Calls `receive(buffer, 4096)` once, with a buffer of 4096 bytes, and returns the bytes that it
/// placed there. `receive` returns their number.
template <class Receive>
RWCString receiveString(Receive receive) {
  constexpr int kSize = 4096;
  char buffer[kSize];
  const int count = receive(buffer, kSize);
  return RWCString(buffer, static_cast<std::size_t>(count));
}

}  // namespace orla
