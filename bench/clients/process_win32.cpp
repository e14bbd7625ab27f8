// clang-format off
#include <windows.h>  // psapi.h needs it.
#include <psapi.h>
// clang-format on

#include "clients/process.h"

namespace bench {

namespace {

double seconds(const FILETIME& time) {
  constexpr double kHundredNanoseconds = 1e-7;
  return (time.dwHighDateTime * 4294967296.0 + time.dwLowDateTime) * kHundredNanoseconds;
}

PROCESS_MEMORY_COUNTERS memory() {
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return counters;
}

}  // namespace

double processorSeconds() {
  FILETIME created, ended, kernel, user;
  GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
  return seconds(kernel) + seconds(user);
}

long residentKiB() {
  return static_cast<long>(memory().WorkingSetSize / 1024);
}

long peakResidentKiB() {
  return static_cast<long>(memory().PeakWorkingSetSize / 1024);
}

}  // namespace bench
