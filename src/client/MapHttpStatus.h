// The library's code and message for an HTTP status.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orla {

/// Returns the code of an HTTP status and writes its message to `buffer`, cut to `size` bytes. A
/// message that fills the buffer is not terminated. For 200 the code is 0 and nothing is written.
std::uint32_t MapHttpStatus(int status, char* buffer, std::size_t size);

}  // namespace orla
