// Messages, truncated to several sizes. The first line of an input is a number, which is the status
// and determines one of the sizes. The rest of the input is the text.
#include "platform/winapi.h"

#include "client/CVekInet.h"
#include "client/MapHttpStatus.h"
#include "fuzz.h"

void orla::fuzz(const RWCString& input) {
  const int status = std::atoi(input.c_str());
  const RWCString text = input.substr(std::min(input.find('\n'), input.size() - 1) + 1).c_str();
  const RWCString formatted = "[" + text + "] " + std::to_string(status);
  static CVekInet library("Orla.Fuzz");
  library.SetMessage(text.c_str());
  char known[ORLA_MESSAGE_SIZE] = "";
  const std::uint32_t code = MapHttpStatus(status, known, sizeof known);

  const std::size_t chosen = static_cast<unsigned>(status) % 1100, length = formatted.size();
  for (const std::size_t room : {chosen, length - 1, length, length + 1, sizeof known}) {
    // Returns true if the buffer contains as much of `whole` and its terminating zero as fits, and
    // no other byte of it was written. Then fills the buffer with '\x7F' for the next call.
    RWCString buffer(room + 1, '\x7F');
    const auto holds = [&](const RWCString& whole) {
      RWCString expected = whole + '\0';
      expected.resize(std::min(room, expected.size()));
      expected.resize(room + 1, '\x7F');
      return std::exchange(buffer, RWCString(room + 1, '\x7F')) == expected;
    };
    const int returned = _snprintf(buffer.data(), room, "[%s] %d", text.c_str(), status);
    REQUIRE(returned == (length > room ? -1 : static_cast<int>(length)) && holds(formatted));
    library.LastErrorMessage(buffer.data(), static_cast<std::uint32_t>(room));
    REQUIRE(holds(text.substr(0, sizeof known - 1)));
    REQUIRE(MapHttpStatus(status, buffer.data(), room) == code && (code == 0 || holds(known)));
  }
}
