#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace orla::cli {

/// Shows the progress of a download, or of a run of many commands, on the standard error stream. On
/// a terminal it draws a bar; if the size is unknown, a block moves along the bar as bytes arrive.
/// Elsewhere it prints a line at 1 MiB and at each doubling, and nothing for commands.
class ProgressMeter {
 public:
  enum class Unit { kBytes, kCommands };

  /// `expected` is the total, 0 if it is unknown. A silent meter shows nothing.
  ProgressMeter(bool silent, Unit unit, std::uint64_t expected);

  /// `done` bytes or commands are done.
  void update(std::uint64_t done);

  /// Ends the line of the bar, whether or not everything is done. Further calls do nothing.
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
  std::uint64_t nextLine_;
  std::uint64_t done_ = 0;
  bool lineOpen_ = false;
};

/// "512 bytes", "1.5 MiB".
std::string readableSize(double bytes);

/// "8388608 bytes in 0.1 s (62.7 MiB/s)".
std::string transferSummary(std::uint64_t bytes, double seconds);

}  // namespace orla::cli
