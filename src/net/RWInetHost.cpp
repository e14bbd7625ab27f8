#include "net/RWInetHost.h"

#include "platform/winapi.h"

#include <cstring>
#include <utility>

#include "net/RWNetErrors.h"
#include "net/RWSockAddr.h"

namespace orla {

namespace {

constexpr int kMaxHostName = 257;

/// Returns "(a,b)", or an empty text for an empty list.
template <class List, class Text>
RWCString parenthesized(const List& list, Text text) {
  RWCString result;
  for (const auto& entry : list) result.append(result.empty() ? "(" : ",").append(text(entry));
  if (!result.empty()) result.push_back(')');
  return result;
}

}  // namespace

RWInetHost::RWInetHost() : RWInetHost(std::uint32_t{INADDR_ANY}) {}

RWInetHost::RWInetHost(const RWCString& text) {
  known_.name = normalizedAddressText(text);
  if (known_.name.empty()) throw RWInetHostNotFoundError(known_.name);
  if (equalIgnoringCase(known_.name, "ANY")) {
    *this = RWInetHost();
    return;
  }
  const std::uint32_t address = inet_addr(known_.name.c_str());
  // inet_addr() returns the same value for the limited broadcast address and for a name.
  if (address == INADDR_NONE && known_.name != "255.255.255.255") {
    known_.hasName = true;
  } else {
    known_.address = address;
    known_.hasAddress = true;
  }
}

RWInetHost::RWInetHost(std::uint32_t address) {
  known_.name = address == INADDR_ANY ? "ANY" : dottedAddress(address);
  known_.address = address;
  known_.hasAddress = true;
}

RWInetHost RWInetHost::me() {
  char name[kMaxHostName + 1] = {};  // Terminated even if the name fills it.
  if (gethostname(name, kMaxHostName) != 0) throw RWInetHostNotFoundError("RWInetHost::me()");
  return RWInetHost(RWCString(name));
}

const RWCString& RWInetHost::name() const {
  if (!known_.hasName) resolve();
  if (!known_.hasName) throw RWInetHostNotFoundError(known_.name);
  return known_.name;
}

std::uint32_t RWInetHost::address() const {
  if (!known_.hasAddress) resolve();
  if (!known_.hasAddress) throw RWInetHostNotFoundError(known_.name);
  return known_.address;
}

const std::vector<RWCString>& RWInetHost::aliases() const {
  requireLookup();
  return known_.aliases;
}

const std::vector<std::uint32_t>& RWInetHost::addresses() const {
  requireLookup();
  return known_.addresses;
}

RWCString RWInetHost::text() const {
  return known_.name + parenthesized(known_.aliases, [](const RWCString& alias) { return alias; }) +
         parenthesized(known_.addresses, dottedAddress);
}

void RWInetHost::requireLookup() const {
  resolve();
  if (known_.lookupFailed) throw RWInetHostNotFoundError(known_.name);
}

void RWInetHost::resolve() const {
  if (known_.lookupFailed || (known_.hasName && known_.hasAddress)) return;
  if (known_.hasAddress && known_.address == INADDR_ANY) return;

  const hostent* found = known_.hasName
                             ? gethostbyname(known_.name.c_str())
                             : gethostbyaddr(reinterpret_cast<const char*>(&known_.address),
                                             sizeof known_.address, AF_INET);
  if (!found || found->h_addrtype != AF_INET || found->h_length != int{sizeof known_.address} ||
      !found->h_addr_list[0]) {
    known_.lookupFailed = true;
    return;
  }

  std::vector<std::uint32_t> addresses;
  for (char* const* entry = found->h_addr_list; *entry; ++entry) {
    std::uint32_t address = 0;
    std::memcpy(&address, *entry, sizeof address);
    addresses.push_back(address);
  }
  std::vector<RWCString> aliases;
  for (char* const* entry = found->h_aliases; entry && *entry; ++entry) aliases.push_back(*entry);

  if (!known_.hasName) known_.name = found->h_name;
  known_.address = addresses.front();
  known_.addresses = std::move(addresses);
  known_.aliases = std::move(aliases);
  known_.hasName = known_.hasAddress = true;
}

RWCString dottedAddress(std::uint32_t address) {
  in_addr raw{};
  raw.s_addr = address;
  return inet_ntoa(raw);
}

}  // namespace orla
