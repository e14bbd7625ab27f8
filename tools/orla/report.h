#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "advice.h"
#include "commands.h"
#include "load.h"

namespace orla::cli {

/*
 * What the user is told: results on the standard output, as text or as one JSON object in a line,
 * and failures on the standard error stream. Control characters of the server are shown as "?" in
 * text, and escaped in JSON, which is plain ASCII and valid whatever bytes have come.
 */

/* "orla: COMMAND: message", and a second such line with the advice. An empty command is left out. */
void printFailure(const std::string& command, const Failure& failure);

/* The result of a command that did well. */
void printResult(Command command, const Outcome& outcome);

/* One command's object. */
struct Account {
  std::string command;  // empty when the command line names none
  std::string url;
  std::optional<orla_status> status;  // none when the library was not asked
  std::optional<std::uint32_t> code;  // of the thread, if one was recorded
  Failure failure;                    // empty texts when all went well
  Outcome outcome;
};
void printJson(const Account& account);

/* A run of many commands: how many, how fast, and by status what failed. */
void printLoad(const Load& load);
void printLoadJson(const Request& request, const Load& load);

/* Throws std::runtime_error when the standard output has not taken everything. */
void flushOutput();

}  // namespace orla::cli
