#include "Session.h"

#include <algorithm>

namespace orla {
namespace {

/* What the library says of any failure that it met on this side of the wire. */
constexpr char kUninformative[] = "Transport internal error";

std::string last_message() {
  // One byte more than the library fills: a full message comes without its terminating zero.
  char message[ORLA_MESSAGE_SIZE + 1] = {};
  ORLAGetLastErrorMsg(message, ORLA_MESSAGE_SIZE);
  return one_line(message);
}

}  // namespace

Session::Session(const std::string& url) {
  require_ok(ORLAInitialize(0, nullptr), "the library cannot be initialised");
  const orla_status status = ORLAConnect(url.c_str(), "", 0, &handle_);
  if (status != ORLA_OK) ORLACleanup();
  require_ok(status, "no connection");
}

Session::~Session() {
  ORLADisconnect(handle_);
  ORLACleanup();
}

void require_ok(orla_status status, const std::string& explanation) {
  if (status == ORLA_OK) return;
  std::string text = last_message();
  if (text.empty()) {
    text = explanation;
  } else if (text == kUninformative) {
    text += " (" + explanation + ")";
  }
  throw CommandFailure("status " + std::to_string(status) + ": " + text);
}

std::string one_line(std::string text) {
  while (!text.empty() && (text.back() == '\r' || text.back() == '\n')) text.pop_back();
  std::replace_if(
      text.begin(), text.end(),
      [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7F;
      },
      '?');
  return text;
}

}  // namespace orla
