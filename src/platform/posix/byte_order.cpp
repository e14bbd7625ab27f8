#include "platform/winapi.h"

#include <bit>

namespace orla {

// The machine is little-endian; network byte order is big-endian.
static_assert(std::endian::native == std::endian::little);

u_short htons(u_short value) noexcept {
  return __builtin_bswap16(value);
}

u_short ntohs(u_short value) noexcept {
  return __builtin_bswap16(value);
}

u_long htonl(u_long value) noexcept {
  return __builtin_bswap32(value);
}

}  // namespace orla
