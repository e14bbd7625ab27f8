// A reply, and the outcome of a command wherever the reply is cut.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orla::test {

/// What a server does after its last byte.
enum Ending {
  kEnd,    // Ends its sending, and receives until the client closes the connection.
  kClose,  // Closes the connection at once.
  kReset,  // Resets the connection.
  kStall,  // Sends nothing more and keeps the connection open.
};

/// The result of a transaction.
struct Outcome {
  std::uint32_t code;
  std::string message, body;
};

struct Reply {
  /// What the client reads the bytes of a part as, and so what it misses if they do not come.
  enum Kind { kHead, kSize, kData, kOpen, kRest };
  struct Part {
    Kind kind;
    std::string bytes;
  };

  const char* name;
  std::uint32_t code;  // Of a transaction that receives the whole reply, with its message.
  std::string message;
  std::vector<Part> parts;
  std::string repeated = {};  // Sent after the parts, until the client closes the connection.

  std::string bytes() const {
    std::string all;
    for (const Part& part : parts) all += part.bytes;
    return all;
  }

  /// The outcome if `sent` bytes come before the ending.
  Outcome outcome(std::size_t sent, Ending ending) const {
    std::string body;
    const Part* part = &parts.front();
    for (;; ++part) {  // Up to the part that the client then waits for.
      if (part->kind == kData || part->kind == kOpen) body += part->bytes.substr(0, sent);
      if (sent < part->bytes.size() || part == &parts.back()) break;
      sent -= part->bytes.size();
    }
    // A body that lasts until the connection ends is complete wherever the server ends it.
    if (part->kind == kRest || (part->kind == kOpen && ending == kEnd))
      return {code, message, body};
    if (ending == kReset) return {4, "RWSocketError: in RWSocket::recv: CONNRESET", ""};
    if (ending == kStall) return {4, "RWSocketError: in RWSocket::recv: TIMEDOUT", ""};
    if (part->kind == kHead) return {4, "RWReplyError: Connection closed by server", ""};
    if (part->kind == kData)
      return {4, "RWHttpHandlerError: The body was not completely consumed", ""};
    return {4, "RWHttpConnectionError: Server unexpectedly closed connection", ""};
  }
};

/// Returns `text` repeated `count` times. Each "%" in it becomes the number of the repetition.
inline std::string times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i)
    for (const char c : text) all += c == '%' ? std::to_string(i) : std::string(1, c);
  return all;
}

}  // namespace orla::test
