#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace orla::devserver {

/// How the body of an answer is delimited.
enum class Framing {
  kLength,   // "Content-Length"
  kChunked,  // "Transfer-Encoding: chunked"
  kClose     // neither: the body ends when the connection is closed
};

/// The settings of the command line.
struct Options {
  std::string directory;                             // where the packages are stored
  std::string version = "1.0.0";                     // the answer to GetVersion
  std::uint64_t maxUpload = std::uint64_t{1} << 30;  // bytes
  std::chrono::milliseconds delay{0};                // before each answer to a command
  int fail = 0;                        // HTTP status of every such answer; 0 if disabled
  Framing framing = Framing::kLength;  // of these answers
  bool silent = false;                 // writes no log lines
};

}  // namespace orla::devserver
