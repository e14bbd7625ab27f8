// A portal that applies a timeout to another portal.
#pragma once

#include <cstdint>

#include "net/RWPortal.h"

namespace orla {

/// Returns a portal over `portal`, and keeps `portal` alive. `timeout` is in milliseconds, 0 for
/// none.
///
/// Calls without a timeout use `timeout`, or none if it is 0. Calls with a timeout use the shorter
/// of the two; if `timeout` is 0, they only poll.
RWPortal makeTimedPortal(const RWPortal& portal, std::uint32_t timeout);

}  // namespace orla
