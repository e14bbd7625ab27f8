#include "net/RWInetServicePort.h"

#include "platform/winapi.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>
#include <utility>

#include "net/RWNetErrors.h"
#include "net/RWSockAddr.h"

namespace orla {

namespace {

constexpr std::uint32_t kMaxPort = std::numeric_limits<std::uint16_t>::max();

}  // namespace

RWInetServicePort::RWInetServicePort(std::uint32_t number) {
  if (number > kMaxPort) throw RWInetServiceNotFoundError(std::to_string(number));
  known_.number = static_cast<std::uint16_t>(number);
  known_.hasNumber = true;
}

RWInetServicePort::RWInetServicePort(const RWCString& text) {
  RWCString plain = normalizedAddressText(text);
  if (plain.empty()) throw RWInetServiceNotFoundError(plain);
  if (!std::all_of(plain.begin(), plain.end(), isDigitAscii)) {
    known_.name = std::move(plain);
    known_.hasName = true;
    return;
  }
  const auto end = plain.data() + plain.size();
  if (std::from_chars(plain.data(), end, known_.number).ec != std::errc())
    throw RWInetServiceNotFoundError(plain);
  known_.hasNumber = true;
}

std::uint16_t RWInetServicePort::number() const {
  if (!known_.hasNumber) resolve();
  return known_.number;
}

const RWCString& RWInetServicePort::name() const {
  if (!known_.hasName) resolve();
  return known_.name;
}

const std::vector<RWCString>& RWInetServicePort::aliases() const {
  resolve();
  return known_.aliases;
}

RWCString RWInetServicePort::text() const {
  return known_.hasNumber ? std::to_string(known_.number) : known_.name;
}

void RWInetServicePort::resolve() const {
  if (known_.hasNumber && known_.hasName) return;

  const servent* found = nullptr;
  if (known_.hasName) {
    found = getservbyname(known_.name.c_str(), nullptr);
    if (!found) throw RWInetServiceNotFoundError(known_.name);
  } else {
    found = getservbyport(htons(known_.number), nullptr);
    if (!found) return;
  }

  std::vector<RWCString> aliases;
  for (char* const* entry = found->s_aliases; entry && *entry; ++entry) aliases.push_back(*entry);

  known_.name = found->s_name;
  known_.number = ntohs(static_cast<u_short>(found->s_port));
  known_.aliases = std::move(aliases);
  known_.hasName = known_.hasNumber = true;
}

}  // namespace orla
