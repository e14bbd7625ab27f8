#include "net/RWSocketAttribute.h"

#include "platform/winapi.h"

#include <cstdint>
#include <limits>

#include "net/RWNetErrors.h"

namespace orla {

namespace {

using Condition = RWSocketAttribute::Condition;

struct WaitSet {
  fd_set sockets;
  /// A socket is in the set if it waits for one of these. All of them are reported if it is ready.
  int conditions;

  explicit WaitSet(int setConditions) : conditions(setConditions) { FD_ZERO(&sockets); }

  void add(const RWSocketAttribute& attribute) {
    if (!(attribute.conditions & conditions)) return;
    const SOCKET socket = attribute.socket.handle();
    FD_SET(socket, &sockets);
    // FD_SET ignores the socket if the set is full. The wait would then miss it.
    if (!FD_ISSET(socket, &sockets)) throw RWNetSelectError(WSAEINVAL);
  }

  void report(RWSocketAttributes& result) const {
    for (auto left = sockets.fd_count; left > 0; --left) {
      result.append({RWSocket(sockets.fd_array[left - 1]), conditions});
    }
  }
};

}  // namespace

RWSocketAttributes selectSockets(const RWSocketAttributes& attributes, double seconds) {
  WaitSet sets[] = {WaitSet(Condition::CanRead | Condition::CanAccept),
                    WaitSet(Condition::CanWrite | Condition::Connected),
                    WaitSet(Condition::Exceptional)};
  for (const RWSocketAttribute& attribute : attributes) {
    for (WaitSet& set : sets) set.add(attribute);
  }

  timeval limit{};
  const std::optional<std::int32_t> whole = selectSeconds(seconds);
  limit.tv_sec = whole.value_or(0);
  const int count = select(kMaxSelectSockets, &sets[0].sockets, &sets[1].sockets, &sets[2].sockets,
                           whole ? &limit : nullptr);
  if (count == SOCKET_ERROR) {
    const int code = WSAGetLastError();
    throw RWNetSelectError(code);
  }

  RWSocketAttributes ready(static_cast<std::size_t>(count));
  for (const WaitSet& set : sets) set.report(ready);
  return ready;
}

std::optional<std::int32_t> selectSeconds(double seconds) noexcept {
  constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
  if (seconds < 0) return std::nullopt;
  // Fractions are dropped, because callers expect that a timeout below 1 s only polls.
  return seconds < kMax ? static_cast<std::int32_t>(seconds) : kMax;
}

}  // namespace orla
