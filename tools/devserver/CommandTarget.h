#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orla::devserver {

/// A server command, as it stands in a request target:
///
///   /path?ORLACommand=GetVersion
///   /path?ORLACommand=CompileName&Type=7&Identity0=a&Identity1=b%20c&Encoding=UTF-8
///   /path?ORLACommand=UploadPackage&Type=7&Identity0=a&Encoding=UTF-8&FileName=x.pkg
struct Command {
  enum class Word { kGetVersion, kCompileName, kUploadPackage };

  Word word = Word::kGetVersion;
  std::uint16_t type = 0;               // 1 to 65535; 0 for the version command
  std::vector<std::string> identities;  // in their order, decoded
  std::string fileName;                 // decoded; empty when none was given
};

/// A request target taken apart: a command, or the path of a stored file.
struct CommandTarget {
  std::string path;  // decoded; starts with "/"
  std::optional<Command> command;
};

/// Reads the target of a request line. The path of a command may be any; the query of a target that
/// names no command is ignored. A "+" stands for itself: a blank arrives as "%20".
///
/// A download's counter is appended to the target as it stands, which may have no query: the path
/// ends before "&Counter=" too.
///
/// Refuses with 400: a bad percent escape, an unknown command or parameter, one that is given twice
/// or does not belong to the command, a bad or missing type, identities not numbered 0, 1, 2 and so
/// on, an encoding other than UTF-8.
CommandTarget parseTarget(std::string_view target);

/// Whether the query of the target names a command, a known one or not.
bool namesCommand(std::string_view target);

/// What a request target says, for people to read. Nothing is refused: what cannot be decoded stands
/// as it came, and so does, as one parameter "...", what follows the first 64.
struct TargetDescription {
  std::string command;  // the value of ORLACommand; empty when there is none
  std::string path;
  std::vector<std::pair<std::string, std::string>> parameters;  // the other ones, in their order
};

TargetDescription describeTarget(std::string_view target);

}  // namespace orla::devserver
