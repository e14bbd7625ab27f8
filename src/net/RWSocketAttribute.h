// Waiting until one of several sockets is ready.
#pragma once

#include <cstdint>
#include <optional>

#include "foundation/RWTValOrderedVector.h"
#include "net/RWSocket.h"

namespace orla {

/// A socket and a set of conditions: those to wait for, or those that a wait found.
struct RWSocketAttribute {
  enum Condition : int {
    CanRead = 1,
    CanWrite = 2,
    Exceptional = 4,
    Connected = 8,   // A connect completed: writable.
    CanAccept = 32,  // A connection waits: readable.
  };

  RWSocket socket;
  int conditions = 0;
};

using RWSocketAttributes = RWTValOrderedVector<RWSocketAttribute>;

/// The capacity that a set of attributes starts with, and the most sockets of a condition that one
/// wait takes.
inline constexpr int kMaxSelectSockets = 64;

/// Waits until a socket meets one of its conditions, at most the given seconds, counted as
/// selectSeconds() says. Returns what was found: CanRead with CanAccept, CanWrite with Connected,
/// or Exceptional, an entry for each; empty when the time expired. Throws RWNetSelectError, also
/// for more than kMaxSelectSockets sockets of a condition (WSAEINVAL).
RWSocketAttributes selectSockets(const RWSocketAttributes& attributes, double seconds);

/// The whole seconds that a wait of `seconds` takes: fractions are dropped, so that 1.5 waits 1 s
/// and 0.999 only polls. Nothing, for a negative value: no limit.
std::optional<std::int32_t> selectSeconds(double seconds) noexcept;

}  // namespace orla
