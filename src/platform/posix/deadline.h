// The end of a wait, which stays where it is however often the wait is interrupted.
#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>
#include <optional>

namespace orla::posix {

using Clock = std::chrono::steady_clock;

/// When a wait ends; none: never.
using Deadline = std::optional<Clock::time_point>;

inline ::timespec toTimespec(std::chrono::nanoseconds time) noexcept {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {seconds.count(), (time - seconds).count()};
}

/// The time left as the system's relative time-outs take it: null for no limit, else `storage`,
/// zero when the deadline has passed.
inline const ::timespec* timeLeft(const Deadline& deadline, ::timespec& storage) noexcept {
  if (!deadline) return nullptr;
  storage = toTimespec(std::max(*deadline - Clock::now(), Clock::duration::zero()));
  return &storage;
}

}  // namespace orla::posix
