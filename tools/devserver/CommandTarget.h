#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orla::devserver {

/// A server command, as it is written in a request target:
///
///   /path?ORLACommand=GetVersion
///   /path?ORLACommand=CompileName&Type=7&Identity0=a&Identity1=b%20c&Encoding=UTF-8
///   /path?ORLACommand=UploadPackage&Type=7&Identity0=a&Encoding=UTF-8&FileName=x.pkg
struct Command {
  enum class Kind { kGetVersion, kCompileName, kUploadPackage };

  Kind kind = Kind::kGetVersion;
  std::uint16_t type = 0;               // 1 to 65535; 0 for the version command
  std::vector<std::string> identities;  // in the order of the request, decoded
  std::string fileName;                 // decoded; empty if missing
};

/// A parsed request target: a command, or the path of a stored file.
struct CommandTarget {
  std::string path;  // decoded; starts with "/"
  std::optional<Command> command;
};

/// Parses the target of a request line. A command may have any path. The query of a target without
/// a command is ignored. A "+" is not decoded, because agents send a space as "%20".
///
/// Agents append the counter of a download to the target as "&Counter=", even if the target has no
/// query. The path therefore ends before "&Counter=", too.
///
/// Throws a Refusal with status 400 for:
///
/// - a target that does not start with a slash;
/// - an invalid percent escape;
/// - an unknown command;
/// - a parameter that has no value, is repeated, is unknown, or belongs to another command;
/// - a missing or invalid type;
/// - identities that are not numbered 0, 1, 2 and so on;
/// - an encoding other than UTF-8.
CommandTarget parseTarget(std::string_view target);

/// Returns true if the query of the target contains a command, known or unknown.
bool namesCommand(std::string_view target);

/// The parts of a request target, decoded for people to read. Every target is accepted. A text that
/// cannot be decoded is copied unchanged. After 64 parameters the rest of the target is copied
/// unchanged into one more parameter, whose name is "...".
struct TargetDescription {
  std::string command;  // the value of ORLACommand; empty if missing
  std::string path;
  std::vector<std::pair<std::string, std::string>>
      parameters;  // the others, in the order of the request
};

TargetDescription describeTarget(std::string_view target);

}  // namespace orla::devserver
