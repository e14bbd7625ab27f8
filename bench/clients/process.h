// Resource usage of the calling process.
#pragma once

namespace bench {

/// Returns the user and system time of all threads so far, in seconds.
double processorSeconds();

/// Returns the current and the peak resident set size, in KiB.
long residentKiB();
long peakResidentKiB();

}  // namespace bench
