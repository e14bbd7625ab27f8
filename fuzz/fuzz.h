// What the fuzz targets share.
#pragma once
#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "support/ErrorOf.h"

/// Ends the program, by an error that nothing catches, when the code under test breaks a promise.
#define PROMISE(...) ((__VA_ARGS__) ? void() : throw std::logic_error(#__VA_ARGS__))

namespace orla {
/// Each program's own: tries the code under test with `input`.
void fuzz(const RWCString& input);
}  // namespace orla
