#include "Session.h"

namespace orla {

Library::Library() {
  if (const orla_status status = ORLAInitialize(0, nullptr); status != ORLA_OK) {
    throw SessionError("the library cannot be made ready", status,
                       "free memory, or end other programs that use the library; then try again");
  }
}

Library::~Library() {
  ORLACleanup();
}

Connection::Connection(const std::string& url) {
  const orla_status status = ORLAConnect(url.c_str(), "", 0, &handle_);
  if (status != ORLA_OK) {
    throw SessionError("the library makes no connection", status,
                       "write the URL as http://host[:port]/path");
  }
}

Connection::~Connection() {
  ORLADisconnect(handle_);
}

std::string last_message() {
  char message[ORLA_MESSAGE_SIZE] = {};
  ORLAGetLastErrorMsg(message, ORLA_MESSAGE_SIZE);
  return one_line(message);
}

std::string one_line(std::string text) {
  while (!text.empty() && (text.back() == '\r' || text.back() == '\n')) text.pop_back();
  char before = ' ';
  for (char& c : text) {
    const auto byte = static_cast<unsigned char>(c);
    // U+0080 to U+009F are control characters as well, and C2 80 to C2 9F as UTF-8.
    const bool control = byte < 0x20 || byte == 0x7F || (before == '\xC2' && byte < 0xA0);
    before = c;
    if (control) c = '?';
  }
  return text;
}

}  // namespace orla
