// Address texts: hosts, ports and whole addresses. Only numeric ones are resolved.
#include "platform/winapi.h"

#include "fuzz.h"
#include "net/RWInetAddr.h"

void orla::fuzz(const RWCString& input) {
  // Comments are removed, the innermost one first.
  RWCString plain = input;
  for (std::size_t end = 0; (end = plain.find(')', end)) != RWCString::npos;) {
    const std::size_t start = plain.rfind('(', end);
    if (start != RWCString::npos) plain.erase(start, end + 1 - start);
    end = start != RWCString::npos ? start : end + 1;
  }
  std::replace(plain.begin(), plain.end(), ':', ' ');
  plain = stripLeadingBlanks(stripTrailingBlanks(plain));
  REQUIRE(normalizedAddressText(input) == plain);

  RWCString text;
  if (test::errorOf([&] { text = RWInetAddr(input).text(); }) == "nothing thrown")
    REQUIRE(RWInetAddr(text).text() == text);
}
