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
  std::uint16_t type = 0;  // never 0, which would ask the version instead
  std::vector<std::string> identities;

  std::string file;  // send: the package; get: the target of the download
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
  std::uint64_t bytes = 0;  // of the package that was sent, or of the file so far
  double seconds = 0;       // spent in the library
  std::string result;       // the version, the unchanged answer of the server, or the file
};

/// Receives the number of bytes that a download has received so far.
using Progress = std::function<void(std::uint64_t bytes)>;

/// Runs the command on a connection for its URL, on the calling thread, and blocks until it is
/// done. A download replaces its file only when it is complete. If Ctrl-C is caught, it cancels the
/// download; the rest of the reply is still read and dropped. Throws std::invalid_argument if the
/// system's character set cannot express the path of the file.
Outcome perform(const Request& request, std::uint32_t handle, const Progress& progress);

}  // namespace orla::cli
