#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"

namespace orla::cli {

/// The arguments of the command line.
struct Arguments {
  Request request;
  bool json = false;
  bool silent = false;
  std::int64_t repeat = 0;  // if 0, the command runs once and no summary is printed
  unsigned parallel = 1;
};

/// The result of parsing the command line. If exitCode is set, the help, the version or an error
/// has been printed, and the program must end with that code: 0 after the help or the version, 2
/// after an error.
struct ParseResult {
  Arguments arguments;
  std::optional<int> exitCode;
};

/// Parses the words of the command line, without the program's name.
ParseResult parseCommandLine(const std::vector<std::string>& words);

}  // namespace orla::cli
