#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace orla::devserver {

/// How the body of an answer is delimited.
enum class Framing {
  kLength,   // "Content-Length"
  kChunked,  // "Transfer-Encoding: chunked"
  kClose     // neither: the body ends where the connection does
};

/// What the command line settles for the whole run.
struct Options {
  std::string folder;
  std::string version = "1.0.0";                     // the answer to GetVersion
  std::uint64_t maxUpload = std::uint64_t{1} << 30;  // bytes
  std::chrono::milliseconds delay{0};                // before each answer to a command
  int fail = 0;                                      // HTTP status of every such answer; 0: none
  Framing framing = Framing::kLength;                // of these answers
  bool silent = false;                               // no line for each request
};

}  // namespace orla::devserver
