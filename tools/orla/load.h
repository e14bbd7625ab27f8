#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "ProgressMeter.h"
#include "advice.h"
#include "commands.h"

namespace orla::cli {

/// The failures with the same status.
struct Failures {
  std::int64_t count = 0;
  Failure last;
};

/// The result of running a command many times. Times are in seconds.
struct Load {
  std::int64_t commands = 0;                 // that ended; canceled ones are not counted
  std::uint64_t bytes = 0;                   // of the successful ones
  double seconds = 0;                        // of the whole run
  bool canceled = false;                     // by Ctrl-C
  std::vector<double> times;                 // of each successful command, ascending
  std::map<orla_status, Failures> failures;  // by status; ORLA_OK means a file of another size

  std::int64_t failed() const { return commands - static_cast<std::int64_t>(times.size()); }
};

/// Runs the command `repeat` times in total, on `parallel` threads at the same time, each with its
/// own connection. With two threads or more, thread K (counted from 1) downloads to the file's name
/// with ".K" appended. If Ctrl-C is caught, the first one prevents further commands from starting.
Load runLoad(const Request& request, std::int64_t repeat, unsigned parallel, ProgressMeter& meter);

/// The smallest of the ascending times that at least `percent` in 100 of them do not exceed. Empty
/// if there are no times.
std::optional<double> percentile(const std::vector<double>& times, unsigned percent);

}  // namespace orla::cli
