// What an HTTP status means to the agent.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orla {

/// The code of an HTTP status; its message goes into `buffer`, cut to `size` bytes (and not
/// terminated when it fills them). 200 gives 0 and leaves the buffer alone.
std::uint32_t MapHttpStatus(int status, char* buffer, std::size_t size);

}  // namespace orla
