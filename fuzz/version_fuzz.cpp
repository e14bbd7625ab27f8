// Version texts, compared with the C library's scanf.
#include "client/VersionText.h"
#include "fuzz.h"

void orla::fuzz(const RWCString& input) {
  std::uint16_t major = 7, minor = 9;
  int end = 0;
  std::sscanf((input + "\n").c_str(), "%*[0-9].%*[0-9].%*[0-9]%*[\r\n]%n", &end);
  const bool valid = static_cast<std::size_t>(end) == input.size() + 1;
  REQUIRE(parseVersionText(input, &major, &minor) == valid);
  // 10^16 is a multiple of 2^16: a field's last sixteen digits determine its value.
  const auto valueOf = [](RWCString field) {
    return std::stoull(field.erase(0, std::max<std::size_t>(field.size(), 16) - 16)) % 65536;
  };
  const std::size_t first = input.find('.'), second = input.find('.', first + 1);
  REQUIRE(major == (valid ? valueOf(input.substr(0, first)) : 7));
  REQUIRE(minor == (valid ? valueOf(input.substr(first + 1, second - first - 1)) : 9));
}
