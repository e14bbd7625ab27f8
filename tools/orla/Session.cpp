#include "Session.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace orla::cli {
namespace {

/// The characters that control a terminal, that are invisible, or that change the order of others.
constexpr char32_t kHidden[][2] = {
    {0x0000, 0x001F}, {0x007F, 0x009F}, {0x00AD, 0x00AD}, {0x061C, 0x061C}, {0x180E, 0x180E},
    {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x2069}, {0xFEFF, 0xFEFF}, {0xE0000, 0xE007F}};

/// Returns the length of the UTF-8 sequence that begins with this byte, or 1 if none does.
std::size_t encodedLength(char first) {
  const auto byte = static_cast<unsigned char>(first);
  if (byte < 0xC0) return 1;
  if (byte < 0xE0) return 2;
  return byte < 0xF0 ? 3 : 4;
}

bool isContinuation(char byte) {
  return (byte & 0xC0) == 0x80;
}

/// Returns the code point of a UTF-8 sequence. If the sequence is invalid or incomplete, returns
/// the value of its first byte, because a terminal that does not use UTF-8 interprets each byte by
/// itself.
char32_t codePoint(std::string_view sequence) {
  const auto first = static_cast<unsigned char>(sequence.front());
  if (sequence.size() == 1 || sequence.size() < encodedLength(sequence.front())) return first;
  char32_t code = first & (0x7FU >> sequence.size());
  for (const char byte : sequence.substr(1))
    code = code << 6 | (static_cast<unsigned char>(byte) & 0x3FU);
  return code;
}

bool isHidden(std::string_view sequence) {
  const char32_t code = codePoint(sequence);
  return std::any_of(std::begin(kHidden), std::end(kHidden),
                     [&](const auto& range) { return range[0] <= code && code <= range[1]; });
}

}  // namespace

Library::Library() {
  if (const orla_status status = ORLAInitialize(0, nullptr); status != ORLA_OK) {
    throw SessionError("the library cannot be initialized", status,
                       "free memory, or end other programs that use the library; then try again");
  }
  // ORLAConnect, ORLADisconnect and ORLACleanup end the program if they cannot lock the table of
  // connections. ORLAGetVersion returns ORLA_ERROR_GENERAL instead, so it checks the lock first. It
  // sends nothing, because no connection has the handle 0.
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  if (const orla_status status = ORLAGetVersion(0, &major, &minor); status == ORLA_ERROR_GENERAL) {
    throw SessionError("the library cannot lock its table of connections", status,
                       "the system refuses the lock that agents share; docs/processes.md has the "
                       "causes and what to do");
  }
}

Library::~Library() {
  ORLACleanup();
}

Connection::Connection(const std::string& url) {
  const orla_status status = ORLAConnect(url.c_str(), "", 0, &handle_);
  if (status != ORLA_OK) {
    throw SessionError("the library cannot create a connection", status,
                       "write the URL as http://host[:port]/path");
  }
}

Connection::~Connection() {
  ORLADisconnect(handle_);
}

std::string lastMessage() {
  char message[ORLA_MESSAGE_SIZE] = {};
  ORLAGetLastErrorMsg(message, ORLA_MESSAGE_SIZE);
  return oneLine(message);
}

std::string oneLine(std::string text) {
  while (!text.empty() && (text.back() == '\r' || text.back() == '\n')) text.pop_back();
  const std::string_view whole = text;
  std::string result;
  for (std::size_t i = 0, size = 0; i < whole.size(); i += size) {
    const std::size_t end = std::min(whole.size(), i + encodedLength(whole[i]));
    for (size = 1; i + size < end && isContinuation(whole[i + size]);) ++size;
    const std::string_view character = whole.substr(i, size);
    result += isHidden(character) ? "?" : character;
  }
  return result;
}

}  // namespace orla::cli
