// What the system counts of the calling process.
#pragma once

namespace bench {

/// Processor time so far, of all threads, user and system, in seconds.
double processorSeconds();

/// The resident set, now and at its largest, in KiB.
long residentKiB();
long peakResidentKiB();

}  // namespace bench
