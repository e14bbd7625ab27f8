// A reply, and what comes of it wherever it is cut.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orla::test {

/// What a server does when it has sent what it sends: it ends its side and reads on, closes at once,
/// resets the connection, or falls silent.
enum Ending { kEnd, kClose, kReset, kStall };

/// What a transaction comes to.
struct Outcome {
  std::uint32_t code;
  std::string message, body;
};

struct Reply {
  /// What the client reads the bytes of a part as, and so what it misses when they do not come.
  enum Kind { Head, Size, Data, Open, Rest };
  struct Part {
    Kind kind;
    std::string bytes;
  };

  const char* name;
  std::uint32_t code;  // Of a transaction that goes through, with its message.
  std::string message;
  std::vector<Part> parts;
  std::string forEver = {};  // Comes again and again behind the parts.

  std::string bytes() const {
    std::string all;
    for (const Part& part : parts) all += part.bytes;
    return all;
  }

  /// The outcome when `sent` bytes come before the ending.
  Outcome outcome(std::size_t sent, Ending ending) const {
    std::string body;
    const Part* part = &parts.front();
    for (;; ++part) {  // To the part that the client then waits for.
      if (part->kind == Data || part->kind == Open) body += part->bytes.substr(0, sent);
      if (sent < part->bytes.size() || part == &parts.back()) break;
      sent -= part->bytes.size();
    }
    // A body that lasts until the connection ends is complete wherever it ends in order.
    if (part->kind == Rest || (part->kind == Open && ending == kEnd)) return {code, message, body};
    if (ending == kReset) return {4, "RWSocketError: in RWSocket::recv: CONNRESET", ""};
    if (ending == kStall) return {4, "RWSocketError: in RWSocket::recv: TIMEDOUT", ""};
    if (part->kind == Head) return {4, "RWReplyError: Connection closed by server", ""};
    if (part->kind == Data)
      return {4, "RWHttpHandlerError: The body was not completely consumed", ""};
    return {4, "RWHttpConnectionError: Server unexpectedly closed connection", ""};
  }
};

/// `text` so many times, with the number of each for a "%" in it.
inline std::string times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i)
    for (const char c : text) all += c == '%' ? std::to_string(i) : std::string(1, c);
  return all;
}

}  // namespace orla::test
