#include "ProgressMeter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "system.h"
#include "terminal.h"

namespace orla::cli {
namespace {

constexpr std::uint64_t kMebibyte = 1024 * 1024;
constexpr std::uint64_t kBytesPerStep = kMebibyte / 4;
constexpr auto kRedrawEvery = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30;
constexpr int kBlockWidth = 5;

/// Returns the column where the block starts. The block moves to the right end of the bar and back,
/// one column for every kBytesPerStep bytes.
int blockPosition(std::uint64_t bytes) {
  constexpr int kLastPosition = kBarWidth - kBlockWidth;
  const int step = static_cast<int>(bytes / kBytesPerStep % (2 * kLastPosition));
  return step < kLastPosition ? step : 2 * kLastPosition - step;
}

/// Returns the time as "0:07" or "12:05:00". Returns dashes for 100 hours or more, and if the time
/// is unknown (NaN or infinity).
std::string readableTime(double seconds) {
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
      terminal_(isTerminal(stderr)),
      unit_(unit),
      expected_(expected),
      nextReport_(kMebibyte) {}

void ProgressMeter::update(std::uint64_t done) {
  if (silent_) return;
  done_ = done;
  if (terminal_) {
    if (const auto now = Clock::now(); now >= nextDraw_) {
      nextDraw_ = now + kRedrawEvery;
      draw();
    }
  } else if (unit_ == Unit::kBytes && done >= nextReport_) {
    std::fprintf(stderr, "orla: %s so far\n", amount(static_cast<double>(done)).c_str());
    while (nextReport_ <= done) nextReport_ *= 2;
  }
}

void ProgressMeter::end() {
  if (!lineOpen_) return;
  draw();
  std::fputc('\n', stderr);
  lineOpen_ = false;
}

void ProgressMeter::draw() {
  const double elapsed = std::chrono::duration<double>(Clock::now() - started_).count();
  const double speed = elapsed > 0 ? static_cast<double>(done_) / elapsed : 0;
  std::string bar(kBarWidth, ' ');
  std::string text = "\r[";
  if (expected_ == 0) {
    bar.replace(static_cast<std::size_t>(blockPosition(done_)), kBlockWidth, kBlockWidth, '=');
    text += inGreen(bar) + "]";
  } else {
    const double share = std::min(1.0, static_cast<double>(done_) / static_cast<double>(expected_));
    const auto full = static_cast<std::size_t>(share * kBarWidth);
    bar.replace(0, full, full, '=');
    char percent[16];
    std::snprintf(percent, sizeof percent, "] %3d%%", static_cast<int>(share * 100));
    text += inGreen(bar) + percent;
  }
  char numbers[64];
  std::snprintf(numbers, sizeof numbers, " %12s %12s/s", amount(static_cast<double>(done_)).c_str(),
                amount(speed).c_str());
  text += numbers;
  if (expected_ != 0) {
    const double remaining = done_ < expected_ ? static_cast<double>(expected_ - done_) : 0;
    std::snprintf(numbers, sizeof numbers, " %8s left", readableTime(remaining / speed).c_str());
    text += numbers;
  }
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
  lineOpen_ = true;
}

std::string ProgressMeter::amount(double value) const {
  if (unit_ == Unit::kBytes) return readableSize(value);
  char text[32];
  std::snprintf(text, sizeof text, "%.0f", value);
  return text;
}

std::string readableSize(double bytes) {
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

std::string transferSummary(std::uint64_t bytes, double seconds) {
  char text[64];
  std::snprintf(text, sizeof text, "%llu bytes in %.1f s", static_cast<unsigned long long>(bytes),
                seconds);
  if (bytes == 0 || seconds <= 0) return text;
  return text + (" (" + readableSize(static_cast<double>(bytes) / seconds) + "/s)");
}

}  // namespace orla::cli
