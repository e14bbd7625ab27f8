// The escaping of values that go into a request target's query.
#pragma once

#include <cstdint>

namespace orla {

/// Writes `input` to `output` as a zero-terminated text in which letters, digits and - _ . * stand
/// for themselves and every other byte, the space included, is a percent sign and two upper-case
/// hexadecimal digits.
///
/// `*size` is the room in `output`, in bytes; it takes the size that the text needs, terminating
/// zero included (0xFFFFFFFF when that does not fit 32 bits). True when the text was written; false
/// when it does not fit or `output` is null, with nothing written but `*size`; false, with nothing
/// written at all, when `input` or `size` is null.
bool PercentEncode(const char* input, std::uint32_t length, char* output,
                   std::uint32_t* size) noexcept;

}  // namespace orla
