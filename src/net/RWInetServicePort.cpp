#include "net/RWInetServicePort.h"

#include "platform/winapi.h"

#include <algorithm>
#include <utility>

#include "net/RWNetErrors.h"
#include "net/RWSockAddr.h"

namespace orla {

namespace {

constexpr std::uint32_t kMaxPort = 0xFFFF;

}  // namespace

RWInetServicePort::RWInetServicePort(std::uint32_t number)
    : number_(static_cast<std::uint16_t>(number)), numberKnown_(true) {
  if (number > kMaxPort) throw RWInetServiceNotFoundError(std::to_string(number));
}

RWInetServicePort::RWInetServicePort(const RWCString& text) {
  RWCString plain = normalizedAddressText(text);
  if (plain.empty()) throw RWInetServiceNotFoundError(plain);
  if (!std::all_of(plain.begin(), plain.end(), isDigitAscii)) {
    name_ = std::move(plain);
    nameKnown_ = true;
    return;
  }
  std::uint32_t number = 0;
  for (const char digit : plain) {
    number = number * 10 + static_cast<std::uint32_t>(digit - '0');
    if (number > kMaxPort) throw RWInetServiceNotFoundError(plain);
  }
  number_ = static_cast<std::uint16_t>(number);
  numberKnown_ = true;
}

std::uint16_t RWInetServicePort::number() const {
  if (!numberKnown_) resolve();
  return number_;
}

const RWCString& RWInetServicePort::name() const {
  if (!nameKnown_) resolve();
  return name_;
}

const std::vector<RWCString>& RWInetServicePort::aliases() const {
  resolve();
  return aliases_;
}

RWCString RWInetServicePort::text() const {
  return numberKnown_ ? std::to_string(number_) : name_;
}

void RWInetServicePort::resolve() const {
  if (numberKnown_ && nameKnown_) return;

  const servent* found = nullptr;
  if (nameKnown_) {
    found = getservbyname(name_.c_str(), nullptr);
    if (!found) throw RWInetServiceNotFoundError(name_);
  } else {
    found = getservbyport(htons(number_), nullptr);
    if (!found) return;
  }

  std::vector<RWCString> aliases;
  for (char* const* entry = found->s_aliases; entry && *entry; ++entry) aliases.push_back(*entry);

  name_ = found->s_name;
  number_ = ntohs(static_cast<u_short>(found->s_port));
  aliases_ = std::move(aliases);
  nameKnown_ = numberKnown_ = true;
}

}  // namespace orla
