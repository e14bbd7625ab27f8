#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "advice.h"
#include "commands.h"
#include "load.h"

namespace orla::cli {

// The output for the user. Results are printed to standard output, as text or as one line with a
// JSON object. Failures are printed to standard error. A character from the server that could
// control a terminal is printed as "?" in a text, and is escaped in JSON. The JSON is ASCII, and is
// valid whatever bytes the server sends.

/// Prints "orla: COMMAND: message", and a second such line with the advice. An empty command or
/// advice is left out.
void printFailure(const std::string& command, const Failure& failure);

/// Prints the result of a successful command.
void printResult(Command command, const Outcome& outcome);

/// The content of the JSON object of one command.
struct Report {
  std::string command;  // empty if the command line has none
  std::string url;
  std::optional<orla_status> status;  // empty if the library was not called
  std::optional<std::uint32_t> code;  // the thread's error code, if it has one
  Failure failure;                    // its texts are empty on success
  Outcome outcome;
};
void printJson(const Report& report);

/// Prints the result of a run of many commands: how many ran and failed, and how fast. The JSON
/// also lists the failures by status.
void printLoad(const LoadResult& load);
void printLoadJson(const Request& request, const LoadResult& load);

/// Throws std::runtime_error if not everything could be written to standard output.
void flushOutput();

}  // namespace orla::cli
