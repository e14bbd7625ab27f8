#include "ProgressMeter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "system.h"
#include "terminal.h"

namespace orla {
namespace {

constexpr std::uint64_t kMebibyte = 1024 * 1024;
constexpr std::uint64_t kBytesAStep = kMebibyte / 4;
constexpr auto kRedrawEvery = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30;
constexpr int kBlockWidth = 5;

/* The block runs to the right end and back, a step for each so many bytes. */
int block_position(std::uint64_t bytes) {
  constexpr int kRun = kBarWidth - kBlockWidth;
  const int step = static_cast<int>(bytes / kBytesAStep % (2 * kRun));
  return step < kRun ? step : 2 * kRun - step;
}

/* "0:07", "12:05:00"; dashes for more than four days, or when nothing tells. */
std::string readable_time(double seconds) {
  if (!(seconds < 360000)) return "--:--";
  const int whole = static_cast<int>(std::lround(seconds));
  char text[32];
  if (whole < 3600) {
    std::snprintf(text, sizeof text, "%d:%02d", whole / 60, whole % 60);
  } else {
    std::snprintf(text, sizeof text, "%d:%02d:%02d", whole / 3600, whole / 60 % 60, whole % 60);
  }
  return text;
}

}  // namespace

ProgressMeter::ProgressMeter(bool silent, Unit unit, std::uint64_t expected)
    : silent_(silent),
      terminal_(is_terminal(stderr)),
      unit_(unit),
      expected_(expected),
      next_line_(kMebibyte) {}

void ProgressMeter::update(std::uint64_t done) {
  if (silent_) return;
  done_ = done;
  if (terminal_) {
    if (const auto now = Clock::now(); now >= next_draw_) {
      next_draw_ = now + kRedrawEvery;
      draw();
    }
  } else if (unit_ == Unit::kBytes && done >= next_line_) {
    std::fprintf(stderr, "orla: %s so far\n", amount(static_cast<double>(done)).c_str());
    while (next_line_ <= done) next_line_ *= 2;
  }
}

void ProgressMeter::end() {
  if (!line_open_) return;
  draw();
  std::fputc('\n', stderr);
  line_open_ = false;
}

void ProgressMeter::draw() {
  const double elapsed = std::chrono::duration<double>(Clock::now() - started_).count();
  const double speed = elapsed > 0 ? static_cast<double>(done_) / elapsed : 0;
  std::string bar(kBarWidth, ' ');
  std::string text = "\r[";
  if (expected_ == 0) {
    bar.replace(static_cast<std::size_t>(block_position(done_)), kBlockWidth, kBlockWidth, '=');
    text += in_green(bar) + "]";
  } else {
    const double share = std::min(1.0, static_cast<double>(done_) / static_cast<double>(expected_));
    const auto full = static_cast<std::size_t>(share * kBarWidth);
    bar.replace(0, full, full, '=');
    char percent[16];
    std::snprintf(percent, sizeof percent, "] %3d%%", static_cast<int>(share * 100));
    text += in_green(bar) + percent;
  }
  char numbers[64];
  std::snprintf(numbers, sizeof numbers, " %12s %12s/s", amount(static_cast<double>(done_)).c_str(),
                amount(speed).c_str());
  text += numbers;
  if (expected_ != 0) {
    const double rest = done_ < expected_ ? static_cast<double>(expected_ - done_) : 0;
    std::snprintf(numbers, sizeof numbers, " %8s left", readable_time(rest / speed).c_str());
    text += numbers;
  }
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
  line_open_ = true;
}

std::string ProgressMeter::amount(double value) const {
  if (unit_ == Unit::kBytes) return readable_size(value);
  char text[32];
  std::snprintf(text, sizeof text, "%.0f", value);
  return text;
}

std::string readable_size(double bytes) {
  constexpr const char* kUnits[] = {"KiB", "MiB", "GiB", "TiB"};
  char text[32];
  if (bytes < 1024) {
    std::snprintf(text, sizeof text, "%.0f bytes", bytes);
    return text;
  }
  std::size_t unit = 0;
  for (bytes /= 1024; bytes >= 1024 && unit + 1 < std::size(kUnits); bytes /= 1024) ++unit;
  std::snprintf(text, sizeof text, "%.1f %s", bytes, kUnits[unit]);
  return text;
}

std::string transfer_summary(std::uint64_t bytes, double seconds) {
  char text[64];
  std::snprintf(text, sizeof text, "%llu bytes in %.1f s", static_cast<unsigned long long>(bytes),
                seconds);
  if (bytes == 0 || seconds <= 0) return text;
  return text + (" (" + readable_size(static_cast<double>(bytes) / seconds) + "/s)");
}

}  // namespace orla
