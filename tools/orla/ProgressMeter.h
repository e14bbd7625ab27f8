#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace orla::cli {

/// Shows the progress of a download, or of a run of many commands, on the standard error stream.
///
/// - If the stream is a terminal, the meter draws a bar. If the size is unknown, a block moves
///   along the bar as bytes arrive.
/// - Otherwise it prints a line after 1 MiB, 2 MiB, 4 MiB and so on. For commands it prints
///   nothing.
class ProgressMeter {
 public:
  enum class Unit { kBytes, kCommands };

  /// `expected` is the total number of bytes or commands, or 0 if it is unknown. A silent meter
  /// shows nothing.
  ProgressMeter(bool silent, Unit unit, std::uint64_t expected);

  /// Shows that `done` bytes or commands are done.
  void update(std::uint64_t done);

  /// Draws the bar for the last time and ends its line. Does nothing if no bar is shown.
  void end();

 private:
  using Clock = std::chrono::steady_clock;

  void draw();
  std::string amount(double value) const;

  const bool silent_;
  const bool terminal_;
  const Unit unit_;
  const std::uint64_t expected_;
  const Clock::time_point started_ = Clock::now();
  Clock::time_point nextDraw_ = started_;
  std::uint64_t nextReport_;  // the number of bytes at which the next line is printed
  std::uint64_t done_ = 0;
  bool lineOpen_ = false;
};

/// Returns the size as "512 bytes" or "1.5 MiB".
std::string readableSize(double bytes);

/// Returns a text like "8388608 bytes in 0.1 s (62.7 MiB/s)".
std::string transferSummary(std::uint64_t bytes, double seconds);

}  // namespace orla::cli
