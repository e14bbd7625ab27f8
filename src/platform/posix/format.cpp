#include "platform/winapi.h"

#include <cstdarg>
#include <cstdio>

namespace orla {

int _snprintf(char* buffer, std::size_t size, const char* format, ...) noexcept {
  if (buffer == nullptr && size != 0) return -1;
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the checker does not follow va_copy().
  const int length = std::vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  const bool fills = length >= 0 && static_cast<std::size_t>(length) >= size;
  if (fills && size != 0) {
    // The C library put its terminator in the place of the last byte of the text.
    char* whole = nullptr;
    if (::vasprintf(&whole, format, again) >= 0) {
      buffer[size - 1] = whole[size - 1];
      std::free(whole);
    }
  }
  va_end(again);
  return fills && static_cast<std::size_t>(length) > size && buffer != nullptr ? -1 : length;
}

}  // namespace orla
