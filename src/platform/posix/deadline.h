// The time at which a wait ends, however often it is interrupted.
#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>
#include <optional>

namespace orla::posix {

using Clock = std::chrono::steady_clock;

/// The time at which a wait ends; empty for a wait without limit.
using Deadline = std::optional<Clock::time_point>;

inline ::timespec toTimespec(std::chrono::nanoseconds time) noexcept {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {seconds.count(), (time - seconds).count()};
}

/// Returns the time left until the deadline, as system calls expect a relative timeout. Returns
/// null if there is no limit. Otherwise returns the address of `storage`, which is set to the time
/// left, or to zero if the deadline has passed.
inline const ::timespec* timeLeft(const Deadline& deadline, ::timespec& storage) noexcept {
  if (!deadline) return nullptr;
  storage = toTimespec(std::max(*deadline - Clock::now(), Clock::duration::zero()));
  return &storage;
}

}  // namespace orla::posix
