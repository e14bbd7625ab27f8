#pragma once

#include <cstdio>
#include <string>
#include <vector>

/* What differs between the systems: one source file each, system_posix.cpp and system_win32.cpp. */
namespace orla::cli {

/* The command line without the program's name, as UTF-8, which is what servers are told. */
std::vector<std::string> commandLine(int argc, char** argv);

/*
 * The UTF-8 path of a local file as the library takes it: in the system's own character set, with
 * the system's folder separator, and with a folder in it, "./" if need be. Throws
 * std::invalid_argument when the system's character set lacks a character.
 */
std::string libraryPath(const std::string& path);

bool isTerminal(std::FILE* stream);

/* Makes a terminal show colours. False for one that cannot, and for any other stream. */
bool enableColor(std::FILE* stream);

/*
 * From here on the first Ctrl-C sets interrupted() and says on the standard error stream how to
 * end at once: a second one does. Where Ctrl-C is ignored, it stays so.
 */
void catchFirstInterrupt();
bool interrupted();

inline constexpr char kInterruptNotice[] = "\norla: cancelling; Ctrl-C again ends at once\n";

}  // namespace orla::cli
