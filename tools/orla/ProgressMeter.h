#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace orla {

/*
 * Shows on the standard error stream how far a download has come. Its size is not known until its
 * end, so on a terminal a block runs along the bar as the bytes arrive; elsewhere there is a line
 * at 1 MiB and at each doubling.
 */
class ProgressMeter {
 public:
  ProgressMeter();

  /* `bytes` arrived so far. */
  void update(std::uint64_t bytes);

  /* Ends the bar's line; the download may be complete or not. Further calls do nothing. */
  void end();

  /* "8388608 bytes in 0.1 s (62.7 MiB/s)", the time counted from construction. */
  std::string summary(std::uint64_t bytes) const;

 private:
  using Clock = std::chrono::steady_clock;

  void draw(std::uint64_t bytes);
  double seconds() const;

  const bool terminal_;
  const Clock::time_point started_ = Clock::now();
  Clock::time_point next_draw_ = started_;
  std::uint64_t next_line_;
  bool line_open_ = false;
};

}  // namespace orla
