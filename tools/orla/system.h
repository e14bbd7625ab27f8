#pragma once

#include <cstdio>
#include <string>
#include <vector>

/* What differs between the systems: one source file each, system_posix.cpp and system_win32.cpp. */
namespace orla {

/* The command line without the program's name, as UTF-8, which is what servers are told. */
std::vector<std::string> command_line(int argc, char** argv);

/*
 * The UTF-8 path of a local file as the library takes it: in the system's own character set, with
 * the system's folder separator, and with a folder in it, "./" if need be. Throws
 * std::invalid_argument when the system's character set lacks a character.
 */
std::string library_path(const std::string& path);

bool is_terminal(std::FILE* stream);

/* Makes a terminal show colours. False for one that cannot, and for any other stream. */
bool enable_colour(std::FILE* stream);

/*
 * From here on the first Ctrl-C sets interrupted() and says on the standard error stream how to
 * end at once: a second one does. Where Ctrl-C is ignored, it stays so.
 */
void catch_first_interrupt();
bool interrupted();

inline constexpr char kInterruptNotice[] = "\norla: cancelling; Ctrl-C again ends at once\n";

}  // namespace orla
