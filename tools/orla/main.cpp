// orla: the command-line client of a management server.
//
// Results go to standard output, progress and errors to standard error. Exit code: 0 success, 1 the
// command failed, 2 invalid command line.
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

/// Runs the command once and stores its result in the report. If an exception is thrown, the report
/// is valid, too.
void run(const Arguments& arguments, Report& report) {
  const Request& request = arguments.request;
  const Connection connection(request.url);
  if (request.command == Command::kGet) catchFirstInterrupt();
  if (request.command == Command::kSend && !arguments.silent) {
    std::fprintf(stderr, "orla: sending %s\n", request.file.c_str());
  }
  ProgressMeter meter(arguments.silent, ProgressMeter::Unit::kBytes,
                      static_cast<std::uint64_t>(request.size));
  report.outcome =
      perform(request, connection.handle(), [&meter](std::uint64_t bytes) { meter.update(bytes); });
  meter.end();

  const Outcome& outcome = report.outcome;
  report.status = outcome.status;
  if (outcome.canceled) {
    report.failure = {"canceled", request.file + " is unchanged"};
  } else if (hasFailed(request, outcome)) {
    std::uint32_t code = ORLA_NO_CODE;
    if (ORLAGetLastError(&code) == 0) report.code = code;
    report.failure = describe(request, outcome, lastMessage());
  }
  const bool transferred = request.command == Command::kSend || request.command == Command::kGet;
  if (transferred && outcome.status == ORLA_OK && !arguments.silent) {
    std::fprintf(stderr, "orla: %s %s\n", request.command == Command::kSend ? "sent" : "received",
                 transferSummary(outcome.bytes, outcome.seconds).c_str());
  }
}

int runOnce(const Arguments& arguments, Report& report) {
  run(arguments, report);
  const bool succeeded = report.failure.message.empty();
  if (!succeeded) printFailure(report.command, report.failure);
  if (arguments.json) {
    printJson(report);
  } else if (succeeded) {
    printResult(arguments.request.command, report.outcome);
  }
  return succeeded ? 0 : 1;
}

/// Prints the failures of a run to standard error, one entry per status.
void printFailures(const Arguments& arguments, const LoadResult& load) {
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
  const LoadResult load = runLoad(request, arguments.repeat, arguments.parallel, meter);
  meter.end();

  printFailures(arguments, load);
  if (arguments.json) {
    printLoadJson(request, load);
  } else {
    printLoad(load);
  }
  return load.failed() == 0 && !load.canceled ? 0 : 1;
}

/// Runs the command. If the command cannot start, the reason is printed like a failure of the
/// command.
int runCommand(const Arguments& arguments) {
  const Request& request = arguments.request;
  Report report{commandName(request.command), request.url, {}, {}, {}, {}};
  try {
    const Library library;
    return arguments.repeat == 0 ? runOnce(arguments, report) : runMany(arguments);
  } catch (const SessionError& failure) {
    report.status = failure.status();
    const std::string message = lastMessage();
    report.failure = {"status " + std::to_string(failure.status()) + ": " +
                          (message.empty() ? failure.what() : message),
                      failure.advice()};
  } catch (const std::exception& failure) {
    report.failure.message = failure.what();
  }
  printFailure(report.command, report.failure);
  if (arguments.json) printJson(report);
  return 1;
}

int runProgram(int argc, char** argv) {
  const ParseResult parsed = parseCommandLine(commandLine(argc, argv));
  const int code = parsed.exitCode ? *parsed.exitCode : runCommand(parsed.arguments);
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
