#include "report.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "Session.h"
#include "terminal.h"

namespace orla::cli {
namespace {

using Json = nlohmann::ordered_json;

template <typename Value>
Json valueOrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

Json textOrNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

void printLine(const Json& object) {
  // Invalid UTF-8 becomes U+FFFD. The output is ASCII, because every console can show that.
  std::puts(object.dump(-1, ' ', true, Json::error_handler_t::replace).c_str());
}

double commandsPerSecond(const LoadResult& load) {
  return load.seconds > 0 ? static_cast<double>(load.commands) / load.seconds : 0;
}

struct Figure {
  const char* title;
  const char* key;
  unsigned percent;
};
constexpr Figure kFigures[] = {{"fastest", "fastest", 0},
                               {"median", "median", 50},
                               {"90th percentile", "percentile_90", 90},
                               {"99th percentile", "percentile_99", 99},
                               {"slowest", "slowest", 100}};

}  // namespace

void printFailure(const std::string& command, const Failure& failure) {
  const std::string prefix = command.empty() ? "orla:" : "orla: " + command + ":";
  std::fprintf(stderr, "%s %s\n", inRed(prefix).c_str(), oneLine(failure.message).c_str());
  if (failure.advice.empty()) return;
  std::fprintf(stderr, "%s %s\n", prefix.c_str(), oneLine(failure.advice).c_str());
}

void printResult(Command command, const Outcome& outcome) {
  if (command == Command::kGet) {
    std::printf("%s: %llu bytes\n", outcome.result.c_str(),
                static_cast<unsigned long long>(outcome.bytes));
  } else {
    std::printf("%s\n", oneLine(outcome.result).c_str());
  }
}

void printJson(const Report& report) {
  const bool succeeded = report.failure.message.empty();
  printLine({{"ok", succeeded},
             {"command", textOrNull(report.command)},
             {"url", textOrNull(report.url)},
             {"status", valueOrNull(report.status)},
             {"code", valueOrNull(report.code)},
             {"message", report.failure.message},
             {"advice", report.failure.advice},
             {"bytes", report.outcome.bytes},
             {"seconds", report.outcome.seconds},
             {"result", succeeded ? Json(report.outcome.result) : Json()}});
}

void printLoad(const LoadResult& load) {
  std::printf("%-16s %llu, %llu failed\n", "commands",
              static_cast<unsigned long long>(load.commands),
              static_cast<unsigned long long>(load.failed()));
  std::printf("%-16s %.3f\n", "seconds", load.seconds);
  std::printf("%-16s %.1f\n", "per second", commandsPerSecond(load));
  if (load.bytes != 0) {
    std::printf("%-16s %s\n", "bytes", transferSummary(load.bytes, load.seconds).c_str());
  }
  for (const Figure& figure : kFigures) {
    const std::optional<double> time = percentile(load.times, figure.percent);
    if (time) std::printf("%-16s %.3f ms\n", figure.title, *time * 1000);
  }
}

void printLoadJson(const Request& request, const LoadResult& load) {
  Json failures = Json::array();
  for (const auto& [status, failed] : load.failures) {
    failures.push_back({{"status", status},
                        {"count", failed.count},
                        {"message", failed.last.message},
                        {"advice", failed.last.advice}});
  }
  Json object = {{"ok", load.failed() == 0 && !load.canceled},
                 {"command", commandName(request.command)},
                 {"url", request.url},
                 {"commands", load.commands},
                 {"failed", load.failed()},
                 {"cancelled", load.canceled},
                 {"failures", failures},
                 {"bytes", load.bytes},
                 {"seconds", load.seconds},
                 {"commands_a_second", commandsPerSecond(load)}};
  for (const Figure& figure : kFigures) {
    object[figure.key] = valueOrNull(percentile(load.times, figure.percent));
  }
  printLine(object);
}

void flushOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw std::runtime_error("the result cannot be written; check where standard output goes");
  }
}

}  // namespace orla::cli
