#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/resource.h>

#include "clients/process.h"

namespace bench {

namespace {

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

long statusField(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with(name)) return std::stol(line.substr(name.size()));
  throw std::runtime_error("no " + name + " in /proc/self/status");
}

}  // namespace

double processorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

long residentKiB() {
  return statusField("VmRSS:");
}

long peakResidentKiB() {
  return statusField("VmHWM:");
}

}  // namespace bench
