// Declarations for all fuzz targets.
#pragma once
#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "support/ErrorOf.h"

/// Ends the program with an uncaught exception if the condition is false.
#define REQUIRE(...) ((__VA_ARGS__) ? void() : throw std::logic_error(#__VA_ARGS__))

namespace orla {
/// Runs the code under test with `input`. Each target defines it.
void fuzz(const RWCString& input);
}  // namespace orla
