#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace orla::cli {

/*
 * Shows on the standard error stream how far a download, or a run of many commands, has come. On a
 * terminal it is a bar; as long as the size is not known, a block runs along it as the bytes arrive.
 * Elsewhere there is a line at 1 MiB and at each doubling, and none for commands.
 */
class ProgressMeter {
 public:
  enum class Unit { kBytes, kCommands };

  /* `expected` is the whole, 0 when it is not known. A silent meter shows nothing. */
  ProgressMeter(bool silent, Unit unit, std::uint64_t expected);

  /* So much is done. */
  void update(std::uint64_t done);

  /* Ends the bar's line; all may be done or not. Further calls do nothing. */
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

/* "512 bytes", "1.5 MiB". */
std::string readableSize(double bytes);

/* "8388608 bytes in 0.1 s (62.7 MiB/s)" */
std::string transferSummary(std::uint64_t bytes, double seconds);

}  // namespace orla::cli
