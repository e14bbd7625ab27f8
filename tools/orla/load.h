#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "ProgressMeter.h"
#include "advice.h"
#include "commands.h"

namespace orla::cli {

/* The failures with one status. */
struct Failures {
  std::int64_t count = 0;
  Failure last;
};

/* What came of a command that ran many times. Times are in seconds. */
struct Load {
  std::int64_t commands = 0;                 // that came to an end, cancelled ones not counted
  std::uint64_t bytes = 0;                   // of those that did well
  double seconds = 0;                        // the whole run
  bool cancelled = false;                    // by Ctrl-C
  std::vector<double> times;                 // one for each command that did well, ascending
  std::map<orla_status, Failures> failures;  // by status; ORLA_OK: a file of another size

  std::int64_t failed() const { return commands - static_cast<std::int64_t>(times.size()); }
};

/*
 * Runs the command so many times in all, on so many threads at once, each with a connection of its
 * own. With two threads or more, a download of thread K (from 1) goes to the file's name and ".K".
 * The first Ctrl-C, where it is caught, lets no further command begin.
 */
Load runLoad(const Request& request, std::int64_t repeat, unsigned parallel, ProgressMeter& meter);

/* The smallest of the ascending times that `percent` in 100 do not exceed; none without times. */
std::optional<double> percentile(const std::vector<double>& times, unsigned percent);

}  // namespace orla::cli
