// orla: the command-line client of a management server.
//
// Results go to standard output, progress and errors to standard error. Exit code: 0 success, 1 the
// command failed, 2 bad usage.
#include <cstdio>
#include <exception>
#include <string>

#include "ProgressMeter.h"
#include "Session.h"
#include "advice.h"
#include "arguments.h"
#include "commands.h"
#include "load.h"
#include "report.h"
#include "standard_streams.h"
#include "system.h"

namespace orla::cli {
namespace {

/// Runs the command once and fills the account, which is also valid if an exception is thrown.
void run(const Arguments& arguments, Account& account) {
  const Request& request = arguments.request;
  const Connection connection(request.url);
  if (request.command == Command::kGet) catchFirstInterrupt();
  if (request.command == Command::kSend && !arguments.silent) {
    std::fprintf(stderr, "orla: sending %s\n", request.file.c_str());
  }
  ProgressMeter meter(arguments.silent, ProgressMeter::Unit::kBytes,
                      static_cast<std::uint64_t>(request.size));
  account.outcome =
      perform(request, connection.handle(), [&meter](std::uint64_t bytes) { meter.update(bytes); });
  meter.end();

  const Outcome& outcome = account.outcome;
  account.status = outcome.status;
  if (outcome.canceled) {
    account.failure = {"canceled", request.file + " is unchanged"};
  } else if (hasFailed(request, outcome)) {
    std::uint32_t code = ORLA_NO_CODE;
    if (ORLAGetLastError(&code) == 0) account.code = code;
    account.failure = describe(request, outcome, lastMessage());
  }
  const bool moved = request.command == Command::kSend || request.command == Command::kGet;
  if (moved && outcome.status == ORLA_OK && !arguments.silent) {
    std::fprintf(stderr, "orla: %s %s\n", request.command == Command::kSend ? "sent" : "received",
                 transferSummary(outcome.bytes, outcome.seconds).c_str());
  }
}

int runOnce(const Arguments& arguments, Account& account) {
  run(arguments, account);
  const bool well = account.failure.message.empty();
  if (!well) printFailure(account.command, account.failure);
  if (arguments.json) {
    printJson(account);
  } else if (well) {
    printResult(arguments.request.command, account.outcome);
  }
  return well ? 0 : 1;
}

/// Prints the failures of a run to standard error, one entry per status.
void printFailures(const Arguments& arguments, const Load& load) {
  const std::string name = commandName(arguments.request.command);
  for (const auto& [status, failed] : load.failures) {
    printFailure(name, {std::to_string(failed.count) + " of " + std::to_string(load.commands) +
                            " failed with " + failed.last.message,
                        failed.last.advice});
  }
  if (load.canceled) {
    printFailure(name, {"canceled after " + std::to_string(load.commands) + " of " +
                            std::to_string(arguments.repeat) + " commands",
                        ""});
  }
}

int runMany(const Arguments& arguments) {
  const Request& request = arguments.request;
  catchFirstInterrupt();
  ProgressMeter meter(arguments.silent, ProgressMeter::Unit::kCommands,
                      static_cast<std::uint64_t>(arguments.repeat));
  const Load load = runLoad(request, arguments.repeat, arguments.parallel, meter);
  meter.end();

  printFailures(arguments, load);
  if (arguments.json) {
    printLoadJson(request, load);
  } else {
    printLoad(load);
  }
  return load.failed() == 0 && !load.canceled ? 0 : 1;
}

/// Runs the command. If it cannot start, the reason is reported like a failure of the command.
int runCommand(const Arguments& arguments) {
  const Request& request = arguments.request;
  Account account{commandName(request.command), request.url, {}, {}, {}, {}};
  try {
    const Library library;
    return arguments.repeat == 0 ? runOnce(arguments, account) : runMany(arguments);
  } catch (const SessionError& failure) {
    account.status = failure.status();
    const std::string message = lastMessage();
    account.failure = {"status " + std::to_string(failure.status()) + ": " +
                           (message.empty() ? failure.what() : message),
                       failure.advice()};
  } catch (const std::exception& failure) {
    account.failure.message = failure.what();
  }
  printFailure(account.command, account.failure);
  if (arguments.json) printJson(account);
  return 1;
}

int runProgram(int argc, char** argv) {
  const CommandLine line = readCommandLine(commandLine(argc, argv));
  const int code = line.exitCode ? *line.exitCode : runCommand(line.arguments);
  flushOutput();
  return code;
}

}  // namespace
}  // namespace orla::cli

int main(int argc, char** argv) {
  if (!orla::openMissingStandardStreams()) return 1;
  try {
    return orla::cli::runProgram(argc, argv);
  } catch (const std::exception& failure) {
    orla::cli::printFailure("", {failure.what(), ""});
    return 1;
  }
}
