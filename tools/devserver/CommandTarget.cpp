#include "CommandTarget.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "Refusal.h"

namespace orla::devserver {
namespace {

using Parameters = std::map<std::string, std::string, std::less<>>;

[[noreturn]] void refuse(const std::string& reason) {
  throw Refusal(400, reason);
}

std::optional<unsigned> decimal(std::string_view text) {
  unsigned value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

/// Decodes percent escapes. Returns none if a percent sign is not followed by two hexadecimal
/// digits.
std::optional<std::string> percentDecode(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    const std::string_view digits = text.substr(i + 1, 2);
    unsigned char byte = 0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, byte, 16);
    if (digits.size() != 2 || error != std::errc() || stop != end) return std::nullopt;
    decoded += static_cast<char>(byte);
    i += 2;
  }
  return decoded;
}

std::string decodeOrRefuse(std::string_view text) {
  auto decoded = percentDecode(text);
  if (!decoded) refuse("a percent sign needs two hexadecimal digits");
  return *std::move(decoded);
}

/// Removes the first parameter from a query that is not empty, and returns it.
std::string_view takeParameter(std::string_view& query) {
  const std::string_view parameter = query.substr(0, query.find('&'));
  query.remove_prefix(std::min(query.size(), parameter.size() + 1));
  return parameter;
}

Parameters parseQuery(std::string_view query) {
  Parameters parameters;
  while (!query.empty()) {
    const std::string_view parameter = takeParameter(query);
    const std::size_t equals = parameter.find('=');
    if (equals == std::string_view::npos) refuse("a parameter has no value");
    const std::string name(parameter.substr(0, equals));
    if (!parameters.emplace(name, decodeOrRefuse(parameter.substr(equals + 1))).second) {
      refuse("the parameter " + name + " is given twice");
    }
  }
  return parameters;
}

/// Removes the parameter and returns its value. Returns none if the parameter is missing.
std::optional<std::string> take(Parameters& parameters, std::string_view name) {
  const auto found = parameters.find(name);
  if (found == parameters.end()) return std::nullopt;
  return parameters.extract(found).mapped();
}

Command::Kind parseKind(std::string_view text) {
  if (text == "GetVersion") return Command::Kind::kGetVersion;
  if (text == "CompileName") return Command::Kind::kCompileName;
  if (text == "UploadPackage") return Command::Kind::kUploadPackage;
  refuse("unknown command");
}

Command parseCommand(Parameters parameters) {
  Command command;
  command.kind = parseKind(take(parameters, "ORLACommand").value());
  if (command.kind != Command::Kind::kGetVersion) {
    const auto type = decimal(take(parameters, "Type").value_or(""));
    if (!type || *type < 1 || *type > 65535) refuse("Type must be a number from 1 to 65535");
    command.type = static_cast<std::uint16_t>(*type);
    while (auto identity =
               take(parameters, "Identity" + std::to_string(command.identities.size()))) {
      command.identities.push_back(std::move(*identity));
    }
    if (take(parameters, "Encoding").value_or("UTF-8") != "UTF-8") refuse("Encoding must be UTF-8");
  }
  if (command.kind == Command::Kind::kUploadPackage) {
    command.fileName = take(parameters, "FileName").value_or("");
  }
  if (!parameters.empty()) {
    refuse("the parameter " + parameters.begin()->first +
           " is not expected here (identities are numbered from 0 without a gap)");
  }
  return command;
}

/// The path and the query of a target. The query begins after "?" or, if there is none, at a
/// counter: both "/a?Counter=1" and "/a&Counter=1" have the path "/a" and the query "Counter=1".
struct Split {
  std::string_view path;
  std::string_view query;
};

Split split(std::string_view target) {
  const std::size_t question = target.find('?');
  const std::string_view path = target.substr(0, question);
  const std::size_t counter = std::min(path.find("&Counter="), path.size());
  const std::size_t query = question != target.npos ? question : counter;
  return {path.substr(0, counter), target.substr(std::min(query + 1, target.size()))};
}

}  // namespace

bool namesCommand(std::string_view target) {
  const std::string_view query = target.substr(std::min(target.find('?'), target.size()));
  return query.starts_with("?ORLACommand=") || query.find("&ORLACommand=") != query.npos;
}

CommandTarget parseTarget(std::string_view target) {
  if (target.empty() || target.front() != '/') refuse("the target must start with a slash");
  CommandTarget parsed{decodeOrRefuse(split(target).path), std::nullopt};
  if (namesCommand(target)) {
    parsed.command = parseCommand(parseQuery(target.substr(target.find('?') + 1)));
  }
  return parsed;
}

TargetDescription describeTarget(std::string_view target) {
  constexpr std::size_t kDescribed = 64;
  const auto readable = [](std::string_view text) {
    return percentDecode(text).value_or(std::string(text));
  };
  auto [path, query] = split(target);
  TargetDescription description{"", readable(path), {}};
  while (!query.empty()) {
    if (description.parameters.size() == kDescribed) {
      description.parameters.emplace_back("...", query);
      break;
    }
    const std::string_view parameter = takeParameter(query);
    const std::string_view name = parameter.substr(0, parameter.find('='));
    std::string value = readable(parameter.substr(std::min(parameter.size(), name.size() + 1)));
    if (name == "ORLACommand" && description.command.empty()) {
      description.command = std::move(value);
    } else {
      description.parameters.emplace_back(name, std::move(value));
    }
  }
  return description;
}

}  // namespace orla::devserver
