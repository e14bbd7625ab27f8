#pragma once

namespace orla {

/// Opens the null device in place of each standard stream that is closed. Otherwise a file or a
/// socket that is opened later would become that stream, and would receive what the program prints.
/// Call it first in main().
///
/// Reading from a stream that is opened here fails, and so does writing to it. A program that
/// checks its output can therefore report that the output is lost.
///
/// Returns false if the null device cannot be opened.
bool openMissingStandardStreams();

}  // namespace orla
