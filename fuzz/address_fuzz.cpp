// Address texts: hosts, ports and whole addresses. Only numeric ones are resolved.
#include "platform/winapi.h"

#include "fuzz.h"
#include "net/RWInetAddr.h"

void orla::fuzz(const RWCString& input) {
  RWCString plain = input;  // Without its comments, the innermost taken out first.
  for (std::size_t end = 0; (end = plain.find(')', end)) != RWCString::npos;) {
    const std::size_t start = plain.rfind('(', end);
    if (start != RWCString::npos) plain.erase(start, end + 1 - start);
    end = start != RWCString::npos ? start : end + 1;
  }
  std::replace(plain.begin(), plain.end(), ':', ' ');
  plain = stripLeadingBlanks(stripTrailingBlanks(plain));
  PROMISE(normalizedAddressText(input) == plain);

  const auto isNumber = [](const RWCString& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == RWCString::npos;
  };
  const RWCString digits = plain.substr(std::min(plain.find_first_not_of('0'), plain.size()));
  const RWCString number = digits.empty() ? "0" : digits;
  RWCString port;
  test::errorOf([&] { port = RWInetServicePort(input).text(); });
  const bool fits = number.size() < 5 || (number.size() == 5 && number <= "65535");
  PROMISE(port == (!isNumber(plain) ? plain : fits ? number : ""));

  test::errorOf([&] {
    const RWInetAddr address(input);
    const RWCString text = address.text(), host = address.host().text();
    PROMISE(RWInetAddr(text).text() == text);
    if (!isNumber(address.port().text())) return;
    if (host != "ANY" && inet_addr(host.c_str()) == INADDR_NONE) return;
    const RWSockAddr same = RWSockAddrFactory::instance().makeFromRaw(address.raw().data(), 16);
    PROMISE(same.raw() == address.raw() && RWInetAddr(same.text()).raw() == same.raw());
  });
}
