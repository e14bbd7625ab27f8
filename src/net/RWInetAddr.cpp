#include "net/RWInetAddr.h"

#include "platform/winapi.h"

#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "net/RWNetErrors.h"

namespace orla {

namespace {

/// Splits a text into its words, which are separated by spaces.
std::vector<RWCString> words(std::string_view text) {
  std::vector<RWCString> result;
  for (text = stripLeadingBlanks(text); !text.empty(); text = stripLeadingBlanks(text)) {
    const std::string_view word = text.substr(0, text.find(' '));
    result.emplace_back(word);
    text.remove_prefix(word.size());
  }
  return result;
}

RWInetAddr parsed(const RWCString& text) {
  std::vector<RWCString> parts = words(normalizedAddressText(text));
  if (!parts.empty() && equalIgnoringCase(parts.front(), "inet")) parts.erase(parts.begin());

  switch (parts.size()) {
    case 1:
      return RWInetAddr(RWInetServicePort(parts[0]), RWInetHost());
    case 2:
      return RWInetAddr(RWInetServicePort(parts[1]), RWInetHost(parts[0]));
    case 3:
      return RWInetAddr(RWInetServicePort(parts[2]), RWInetHost(parts[1]),
                        RWSockKind::typeNamed(parts[0]));
    default:
      throw RWSockBadAddressFormatError(text);
  }
}

}  // namespace

RWInetAddr::RWInetAddr(RWInetServicePort port, RWInetHost host, int type, int protocol)
    : port_(std::move(port)), host_(std::move(host)), kind_{AF_INET, type, protocol} {}

RWInetAddr::RWInetAddr(const RWCString& text) : RWInetAddr(parsed(text)) {}

RWRawSockAddr RWInetAddr::raw() const {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port_.number());
  address.sin_addr.s_addr = host_.address();
  RWRawSockAddr result;
  std::memcpy(result.bytes.data(), &address, sizeof address);
  result.length = sizeof address;
  return result;
}

RWCString RWInetAddr::text() const {
  return kind_.text() + ":" + host_.text() + ":" + port_.text();
}

}  // namespace orla
