#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "advice.h"
#include "commands.h"
#include "load.h"

namespace orla::cli {

// What the user sees: results on standard output, as text or as one line with a JSON object, and
// failures on standard error. Characters of the server that could control a terminal are shown as
// "?" in text and are escaped in JSON, which is ASCII and valid for any bytes.

/// Prints "orla: COMMAND: message", and a second such line with the advice. An empty command or
/// advice is left out.
void printFailure(const std::string& command, const Failure& failure);

/// Prints the result of a successful command.
void printResult(Command command, const Outcome& outcome);

/// The JSON object of one command.
struct Account {
  std::string command;  // empty if the command line has none
  std::string url;
  std::optional<orla_status> status;  // empty if the library was not called
  std::optional<std::uint32_t> code;  // of the thread, if it has one
  Failure failure;                    // with empty texts on success
  Outcome outcome;
};
void printJson(const Account& account);

/// Prints a run of many commands: how many ran and failed, and how fast. The JSON also lists the
/// failures by status.
void printLoad(const Load& load);
void printLoadJson(const Request& request, const Load& load);

/// Throws std::runtime_error if not everything could be written to standard output.
void flushOutput();

}  // namespace orla::cli
