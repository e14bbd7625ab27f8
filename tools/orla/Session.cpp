#include "Session.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace orla::cli {
namespace {

/// The characters that control a terminal, that are invisible, or that change the order of others,
/// as ranges of their UTF-8 form, which sorts by code point. The first range begins at the empty
/// text, because a string literal cannot begin with a zero byte.
constexpr std::string_view kHidden[][2] = {
    {"", "\x1F"},                      // U+0000 to U+001F
    {"\x7F", "\x7F"},                  // U+007F
    {"\x80", "\x9F"},                  // the same as U+0080 to U+009F for a terminal without UTF-8
    {"\xC2\x80", "\xC2\x9F"},          // U+0080 to U+009F
    {"\xE2\x80\x8B", "\xE2\x80\x8F"},  // U+200B to U+200F
    {"\xE2\x80\xA8", "\xE2\x80\xAE"},  // U+2028 to U+202E
    {"\xE2\x81\xA0", "\xE2\x81\xA9"},  // U+2060 to U+2069
    {"\xEF\xBB\xBF", "\xEF\xBB\xBF"},  // U+FEFF
};

/// The length of the UTF-8 sequence that begins with this byte; 1 if none does.
std::size_t encodedLength(char first) {
  const auto byte = static_cast<unsigned char>(first);
  if (byte < 0xC0) return 1;
  if (byte < 0xE0) return 2;
  return byte < 0xF0 ? 3 : 4;
}

bool isContinuation(char byte) {
  return (byte & 0xC0) == 0x80;
}

bool isHidden(std::string_view character) {
  return std::any_of(std::begin(kHidden), std::end(kHidden), [&](const auto& range) {
    return range[0] <= character && character <= range[1];
  });
}

}  // namespace

Library::Library() {
  if (const orla_status status = ORLAInitialize(0, nullptr); status != ORLA_OK) {
    throw SessionError("the library cannot be initialized", status,
                       "free memory, or end other programs that use the library; then try again");
  }
  // ORLAConnect, ORLADisconnect and ORLACleanup end the program if they cannot lock the table of
  // connections. A command returns ORLA_ERROR_GENERAL instead, so call one first, for a handle that
  // never exists.
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
