#pragma once

#include <cstdio>
#include <string>
#include <vector>

// Functions that differ between the systems. system_posix.cpp and system_win32.cpp implement them.

namespace orla::cli {

/// Returns the words of the command line without the program's name. They are in UTF-8, because
/// servers expect it.
std::vector<std::string> commandLine(int argc, char** argv);

/// Converts the UTF-8 path of a local file to the form that the library requires: in the system's
/// own character set, with the system's own separators, and with at least one separator. If there
/// is none, "./" is added. Throws std::invalid_argument if the path contains a character that the
/// system's character set does not have.
std::string libraryPath(const std::string& path);

bool isTerminal(std::FILE* stream);

/// Enables colors on a terminal. Returns false if the stream is not a terminal, or if the terminal
/// shows no colors.
bool enableColor(std::FILE* stream);

/// After this call the first Ctrl-C makes interrupted() return true, and prints kInterruptNotice to
/// standard error; the second one ends the program. If Ctrl-C is ignored, it remains ignored.
void catchFirstInterrupt();
bool interrupted();

inline constexpr char kInterruptNotice[] =
    "\norla: canceling; press Ctrl-C again to end immediately\n";

}  // namespace orla::cli
