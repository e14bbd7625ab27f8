#pragma once

#include <cstdint>
#include <functional>
#include <orla/ORLACl.h>
#include <string>
#include <vector>

namespace orla::cli {

enum class Command { kVersion, kName, kSend, kGet };

/// One command as the user entered it.
struct Request {
  Command command = Command::kVersion;
  std::string url;

  // name and send
  std::uint16_t type = 0;  // 1 to 65535; if it were 0, the library would request the version
  std::vector<std::string> identities;

  std::string file;  // send: the package; get: the file to write
  std::string name;  // send: if empty, the server chooses the name

  // get
  std::string target;
  std::string counter;    // not sent if empty
  std::int64_t size = 0;  // the expected size in bytes, or 0
};

/// "version", "name", "send" or "get".
const char* commandName(Command command);

/// The result of a command.
struct Outcome {
  orla_status status = ORLA_OK;
  bool canceled = false;    // the user canceled the download
  std::uint64_t bytes = 0;  // the size of the sent package, or the bytes received so far
  double seconds = 0;       // spent in the library
  std::string result;       // the version, the server's answer unchanged, or the path of the file
};

/// Receives the number of bytes that a download has received so far.
using Progress = std::function<void(std::uint64_t bytes)>;

/// Runs the command on the calling thread and blocks until it is done. `handle` must be that of a
/// connection for the command's URL. A download replaces its file only when it is complete.
///
/// After catchFirstInterrupt() Ctrl-C cancels a download. The rest of the reply is still read and
/// dropped. Throws std::invalid_argument if the system's character set cannot express the path of
/// the file.
Outcome perform(const Request& request, std::uint32_t handle, const Progress& progress);

}  // namespace orla::cli
