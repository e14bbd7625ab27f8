#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"

namespace orla::cli {

/// What the command line asks for.
struct Arguments {
  Request request;
  bool json = false;
  bool silent = false;
  std::int64_t repeat = 0;  // 0 runs the command once, without a summary
  unsigned parallel = 1;
};

/// The result of reading the command line. If exitCode is set, the program must end with it,
/// because help, the version or an error has been printed: 0 after help or the version, 2 after an
/// error.
struct CommandLine {
  Arguments arguments;
  std::optional<int> exitCode;
};

/// Reads the command line without the program's name.
CommandLine readCommandLine(const std::vector<std::string>& words);

}  // namespace orla::cli
