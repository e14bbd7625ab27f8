#pragma once

namespace orla {

/// Opens the null device in place of each standard stream that is closed. Otherwise a file or a
/// socket that is opened later would become that stream, and what the program prints would go
/// there. Reading from a stream that is opened here fails, and so does writing to it: a program
/// that checks its output notices that nobody receives it. Call it first in main().
///
/// Returns false if the null device cannot be opened.
bool openMissingStandardStreams();

}  // namespace orla
