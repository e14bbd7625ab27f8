// The escaping of values that go into a request target's query.
#pragma once

#include <cstdint>

namespace orla {

/// Writes `input` to `output` as a zero-terminated text. Letters, digits and - _ . * are copied.
/// Every other byte, including the space, becomes a percent sign and two upper-case hexadecimal
/// digits.
///
/// `*size` is the size of `output` in bytes. It is set to the size that the text needs with its
/// terminating zero, or to 0xFFFFFFFF if that does not fit 32 bits. Returns true if the text was
/// written. Returns false if the text does not fit or `output` is null; only `*size` is written
/// then. Returns false and writes nothing if `input` or `size` is null.
bool PercentEncode(const char* input, std::uint32_t length, char* output,
                   std::uint32_t* size) noexcept;

}  // namespace orla
