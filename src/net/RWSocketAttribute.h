// Waiting until one of several sockets is ready.
#pragma once

#include <cstdint>
#include <optional>

#include "foundation/RWTValOrderedVector.h"
#include "net/RWSocket.h"

namespace orla {

/// A socket and a set of conditions: the ones to wait for, or the ones that a wait found.
struct RWSocketAttribute {
  enum Condition : int {
    CanRead = 1,
    CanWrite = 2,
    Exceptional = 4,
    Connected = 8,   // A connect completed. Reported as writable.
    CanAccept = 32,  // A connection is waiting. Reported as readable.
  };

  RWSocket socket;
  int conditions = 0;
};

using RWSocketAttributes = RWTValOrderedVector<RWSocketAttribute>;

/// The initial capacity of a set of attributes, and the maximum number of sockets per condition in
/// one wait.
inline constexpr int kMaxSelectSockets = 64;

/// Waits until one of the sockets meets one of its conditions. Waits at most selectSeconds(seconds)
/// seconds. Returns an entry for each condition that was found: CanRead together with CanAccept,
/// CanWrite together with Connected, or Exceptional. Returns nothing if the time expired. Throws
/// RWNetSelectError if the wait fails, and with WSAEINVAL if there are more than kMaxSelectSockets
/// sockets for one condition.
RWSocketAttributes selectSockets(const RWSocketAttributes& attributes, double seconds);

/// Returns the whole seconds of a timeout. Fractions are dropped: a wait of 1.5 s waits 1 s, and a
/// wait of 0.999 s only polls. Returns nothing for a negative value, which means no timeout.
std::optional<std::int32_t> selectSeconds(double seconds) noexcept;

}  // namespace orla
