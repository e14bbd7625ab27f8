#include "ProgressMeter.h"

#include <cstdio>

#include "system.h"

namespace orla {
namespace {

constexpr std::uint64_t kMebibyte = 1024 * 1024;
constexpr std::uint64_t kBytesAStep = kMebibyte / 4;
constexpr auto kRedrawEvery = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30;
constexpr int kBlockWidth = 5;

/* "512 bytes", "1.5 MiB". */
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

/* The block runs to the right end and back, a step for each so many bytes. */
int block_position(std::uint64_t bytes) {
  constexpr int kRun = kBarWidth - kBlockWidth;
  const int step = static_cast<int>(bytes / kBytesAStep % (2 * kRun));
  return step < kRun ? step : 2 * kRun - step;
}

}  // namespace

ProgressMeter::ProgressMeter() : terminal_(is_terminal(stderr)), next_line_(kMebibyte) {}

void ProgressMeter::update(std::uint64_t bytes) {
  if (!terminal_) {
    if (bytes < next_line_) return;
    std::fprintf(stderr, "orla: %s so far\n", readable_size(static_cast<double>(bytes)).c_str());
    while (next_line_ <= bytes) next_line_ *= 2;
  } else if (const auto now = Clock::now(); now >= next_draw_) {
    next_draw_ = now + kRedrawEvery;
    draw(bytes);
  }
}

void ProgressMeter::end() {
  if (line_open_) std::fputc('\n', stderr);
  line_open_ = false;
}

std::string ProgressMeter::summary(std::uint64_t bytes) const {
  const double elapsed = seconds();
  char text[64];
  std::snprintf(text, sizeof text, "%llu bytes in %.1f s", static_cast<unsigned long long>(bytes),
                elapsed);
  if (bytes == 0 || elapsed <= 0) return text;
  return text + (" (" + readable_size(static_cast<double>(bytes) / elapsed) + "/s)");
}

void ProgressMeter::draw(std::uint64_t bytes) {
  const std::string so_far = readable_size(static_cast<double>(bytes));
  const double elapsed = seconds();
  const double speed = elapsed > 0 ? static_cast<double>(bytes) / elapsed : 0;
  std::string bar(kBarWidth, ' ');
  bar.replace(static_cast<std::size_t>(block_position(bytes)), kBlockWidth, kBlockWidth, '=');
  std::fprintf(stderr, "\r[%s] %12s %12s/s", bar.c_str(), so_far.c_str(),
               readable_size(speed).c_str());
  std::fflush(stderr);
  line_open_ = true;
}

double ProgressMeter::seconds() const {
  return std::chrono::duration<double>(Clock::now() - started_).count();
}

}  // namespace orla
