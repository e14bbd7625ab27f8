#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "ProgressMeter.h"
#include "advice.h"
#include "commands.h"

namespace orla::cli {

/// The failures with one status.
struct Failures {
  std::int64_t count = 0;
  Failure last;
};

/// The result of running a command many times. Times are in seconds.
struct LoadResult {
  std::int64_t commands = 0;  // finished commands, without canceled ones
  std::uint64_t bytes = 0;    // sent or received by the successful commands
  double seconds = 0;         // of the whole run
  bool canceled = false;      // by Ctrl-C
  std::vector<double> times;  // of each successful command, ascending
  /// The failures by status. ORLA_OK means that a file does not have the expected size.
  std::map<orla_status, Failures> failures;

  std::int64_t failed() const { return commands - static_cast<std::int64_t>(times.size()); }
};

/// Runs the command `repeat` times in total, on `parallel` threads at the same time, each with its
/// own connection. If `parallel` is 2 or more, thread K, counted from 1, appends ".K" to the name
/// of the file that it downloads. After catchFirstInterrupt() no further command starts after
/// Ctrl-C.
LoadResult runLoad(const Request& request, std::int64_t repeat, unsigned parallel,
                   ProgressMeter& meter);

/// Returns the percentile by the method of the nearest rank: the shortest time such that at least
/// `percent` percent of the times are not longer. The times must be ascending. Returns none if
/// there are no times.
std::optional<double> percentile(const std::vector<double>& times, unsigned percent);

}  // namespace orla::cli
