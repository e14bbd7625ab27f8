#pragma once

#include <cstdio>
#include <string>
#include <vector>

// What differs between the systems, implemented in system_posix.cpp and system_win32.cpp.

namespace orla::cli {

/// The command line without the program's name, in UTF-8, as servers expect it.
std::vector<std::string> commandLine(int argc, char** argv);

/// Converts the UTF-8 path of a local file to what the library requires: the system's own character
/// set and separators, and at least one separator ("./" is added if there is none). Throws
/// std::invalid_argument if the system's character set lacks a character.
std::string libraryPath(const std::string& path);

bool isTerminal(std::FILE* stream);

/// Makes a terminal show colors. Returns false if it cannot, or if the stream is not a terminal.
bool enableColor(std::FILE* stream);

/// After this call the first Ctrl-C makes interrupted() return true, and prints kInterruptNotice to
/// standard error; the second one ends the program. If Ctrl-C is ignored, it remains ignored.
void catchFirstInterrupt();
bool interrupted();

inline constexpr char kInterruptNotice[] =
    "\norla: canceling; press Ctrl-C again to end immediately\n";

}  // namespace orla::cli
