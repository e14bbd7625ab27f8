#include "net/RWInetHost.h"

#include "platform/winapi.h"

#include <cstring>
#include <utility>

#include "net/RWNetErrors.h"
#include "net/RWSockAddr.h"

namespace orla {

namespace {

constexpr int kMaxHostName = 257;

/// "(a,b)", or nothing for an empty list.
template <class List, class Text>
RWCString comment(const List& list, Text text) {
  RWCString result;
  for (const auto& entry : list) result.append(result.empty() ? "(" : ",").append(text(entry));
  if (!result.empty()) result.push_back(')');
  return result;
}

}  // namespace

RWInetHost::RWInetHost() : RWInetHost(std::uint32_t{INADDR_ANY}) {}

RWInetHost::RWInetHost(const RWCString& text) : name_(normalizedAddressText(text)) {
  if (name_.empty()) throw RWInetHostNotFoundError(name_);
  if (equalIgnoringCase(name_, "ANY")) {
    *this = RWInetHost();
    return;
  }
  const std::uint32_t address = inet_addr(name_.c_str());
  // The limited broadcast's address is the value that also means "no address".
  if (address == INADDR_NONE && name_ != "255.255.255.255") {
    nameKnown_ = true;
  } else {
    address_ = address;
    addressKnown_ = true;
  }
}

RWInetHost::RWInetHost(std::uint32_t address)
    : name_(address == INADDR_ANY ? "ANY" : dottedAddress(address)),
      address_(address),
      addressKnown_(true) {}

RWInetHost RWInetHost::me() {
  char name[kMaxHostName + 1] = {};  // A name that fills what the call is given ends all the same.
  if (gethostname(name, kMaxHostName) != 0) throw RWInetHostNotFoundError("RWInetHost::me()");
  return RWInetHost(RWCString(name));
}

const RWCString& RWInetHost::name() const {
  if (!nameKnown_) resolve();
  if (!nameKnown_) throw RWInetHostNotFoundError(name_);
  return name_;
}

std::uint32_t RWInetHost::address() const {
  if (!addressKnown_) resolve();
  if (!addressKnown_) throw RWInetHostNotFoundError(name_);
  return address_;
}

const std::vector<RWCString>& RWInetHost::aliases() const {
  requireLookup();
  return aliases_;
}

const std::vector<std::uint32_t>& RWInetHost::addresses() const {
  requireLookup();
  return addresses_;
}

RWCString RWInetHost::text() const {
  return name_ + comment(aliases_, [](const RWCString& alias) { return alias; }) +
         comment(addresses_, dottedAddress);
}

void RWInetHost::requireLookup() const {
  resolve();
  if (lookupFailed_) throw RWInetHostNotFoundError(name_);
}

void RWInetHost::resolve() const {
  if (lookupFailed_ || (nameKnown_ && addressKnown_)) return;
  if (addressKnown_ && address_ == INADDR_ANY) return;

  const hostent* found = nameKnown_ ? gethostbyname(name_.c_str())
                                    : gethostbyaddr(reinterpret_cast<const char*>(&address_),
                                                    sizeof address_, AF_INET);
  if (!found || found->h_addrtype != AF_INET || found->h_length != int{sizeof address_} ||
      !found->h_addr_list[0]) {
    lookupFailed_ = true;
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

  if (!nameKnown_) name_ = found->h_name;
  address_ = addresses.front();
  addresses_ = std::move(addresses);
  aliases_ = std::move(aliases);
  nameKnown_ = addressKnown_ = true;
}

RWCString dottedAddress(std::uint32_t address) {
  in_addr raw{};
  raw.s_addr = address;
  return inet_ntoa(raw);
}

}  // namespace orla
