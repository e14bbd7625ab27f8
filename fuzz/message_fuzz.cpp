// Messages, truncated to every size. The first line of an input is the size and the status.
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
    // The buffer must contain as much of `whole` as fits, with its terminating zero if that fits,
    // too.
    RWCString buffer;
    const auto holds = [&](const RWCString& whole) {
      RWCString expected = whole + '\0';
      expected.resize(std::min(room, expected.size()));
      expected.resize(room + 1, '\x7F');
      return std::exchange(buffer, RWCString(room + 1, '\x7F')) == expected;
    };
    holds("");
    const int told = _snprintf(buffer.data(), room, "[%s] %d", text.c_str(), status);
    PROMISE(told == (length > room ? -1 : static_cast<int>(length)) && holds(formatted));
    library.LastErrorMessage(buffer.data(), static_cast<std::uint32_t>(room));
    PROMISE(holds(text.substr(0, sizeof known - 1)));
    PROMISE(MapHttpStatus(status, buffer.data(), room) == code && (code == 0 || holds(known)));
  }
}
