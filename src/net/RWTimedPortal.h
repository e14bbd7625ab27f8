// A portal that gives another one a time-out.
#pragma once

#include <cstdint>

#include "net/RWPortal.h"

namespace orla {

/// A portal over `portal`, which it keeps alive, with a time-out in milliseconds, 0 for none.
///
/// Untimed calls become timed calls with that time-out; without one they stay untimed. Timed calls
/// take the shorter of theirs and the portal's: with a portal's time-out of 0 they only poll.
RWPortal makeTimedPortal(const RWPortal& portal, std::uint32_t timeout);

}  // namespace orla
