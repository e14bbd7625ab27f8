#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"

namespace orla::cli {

/* What the command line asks for. */
struct Arguments {
  Request request;
  bool json = false;
  bool silent = false;
  std::int64_t repeat = 0;  // 0: once, without a summary
  unsigned parallel = 1;
};

/*
 * Reads the command line, without the program's name. Where nothing is left to do, all is said and
 * there is the program's exit code instead: 0 after help or the version, 2 for bad usage.
 */
struct CommandLine {
  Arguments arguments;
  std::optional<int> exitCode;
};
CommandLine readCommandLine(const std::vector<std::string>& words);

}  // namespace orla::cli
