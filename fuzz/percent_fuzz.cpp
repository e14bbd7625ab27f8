// Percent-encoding into buffers of about the required size, checked by a separate decoder.
#include <cctype>
#include <cstring>

#include "client/PercentEncode.h"
#include "fuzz.h"

void orla::fuzz(const RWCString& input) {
  const auto length = static_cast<std::uint32_t>(input.size());
  std::uint32_t needed = 0;
  REQUIRE(!PercentEncode(input.data(), length, nullptr, &needed));
  for (const std::uint32_t room : {0U, needed / 2, needed - 1, needed, needed + 1}) {
    RWCString text(room + 1, '\x7F'), decoded;
    std::uint32_t size = room;
    const bool written = PercentEncode(input.data(), length, text.data(), &size);
    REQUIRE(size == needed && written == (room >= needed));
    REQUIRE(text.find_first_not_of('\x7F', written ? needed : 0) == RWCString::npos);
    if (!written) continue;
    REQUIRE(std::strlen(text.c_str()) + 1 == needed);
    for (const char* c = text.c_str(); *c; ++c) {
      const bool escaped = *c == '%' && std::strspn(c + 1, "0123456789ABCDEF") >= 2;
      REQUIRE(escaped || std::isalnum(static_cast<unsigned char>(*c)) || std::strchr("-_.*", *c));
      decoded += escaped ? static_cast<char>(std::stoi(RWCString(c + 1, 2), nullptr, 16)) : *c;
      if (escaped) c += 2;
    }
    REQUIRE(decoded == input);
  }
}
