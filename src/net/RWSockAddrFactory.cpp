#include "net/RWSockAddrFactory.h"

#include "platform/winapi.h"

#include <cstdint>
#include <cstring>
#include <memory>

#include "net/RWInetAddr.h"
#include "net/RWNetErrors.h"

namespace orla {

namespace {

template <class Map, class Key>
void registerIn(Map& map, const Key& key, const RWSockAddrFactoryBase& factory,
                const Key& shownKey) {
  const auto [entry, isNew] = map.try_emplace(key, &factory);
  if (!isNew && entry->second != &factory) throw RWNetAlreadyRegisteredError(shownKey);
}

}  // namespace

RWSockAddrFactory& RWSockAddrFactory::instance() {
  struct Made {
    RWSockAddrFactory registry;
    RWInetAddrFactory inet{registry};
  };
  static Made made;  // C++ guarantees that only one thread initializes it.
  return made.registry;
}

void RWSockAddrFactory::registerFactory(const RWCString& familyName,
                                        const RWSockAddrFactoryBase& factory) {
  registerIn(byName_, toLowerAscii(familyName), factory, familyName);
}

void RWSockAddrFactory::registerFactory(int familyNumber, const RWSockAddrFactoryBase& factory) {
  registerIn(byNumber_, familyNumber, factory, familyNumber);
}

const RWSockAddrFactoryBase& RWSockAddrFactory::factory(const RWCString& familyName) const {
  const auto found = byName_.find(toLowerAscii(familyName));
  if (found == byName_.end()) throw RWNetNoNameFactoryRegisteredError(familyName);
  return *found->second;
}

const RWSockAddrFactoryBase& RWSockAddrFactory::factory(int familyNumber) const {
  const auto found = byNumber_.find(familyNumber);
  if (found == byNumber_.end()) throw RWNetNoNumberFactoryRegisteredError(familyNumber);
  return *found->second;
}

RWSockAddr RWSockAddrFactory::makeFromRaw(const RWRawSockAddr& raw, int type) const {
  std::uint16_t family = 0;
  if (raw.length < static_cast<int>(sizeof family)) throw RWSockBadAddressFormatError(raw.length);
  std::memcpy(&family, raw.bytes.data(), sizeof family);
  return factory(family).makeFromRaw(raw, type);
}

RWSockAddr RWSockAddrFactory::makeFromText(const RWCString& text) const {
  const RWCString plain = normalizedAddressText(text);
  return factory(plain.substr(0, plain.find(' '))).makeFromText(text);
}

RWInetAddrFactory::RWInetAddrFactory(RWSockAddrFactory& registry) {
  registry.registerFactory("inet", *this);
  registry.registerFactory(AF_INET, *this);
}

RWSockAddr RWInetAddrFactory::makeFromRaw(const RWRawSockAddr& raw, int type) const {
  sockaddr_in address{};
  if (raw.length < static_cast<int>(sizeof address)) throw RWSockBadAddressFormatError(raw.length);
  std::memcpy(&address, raw.bytes.data(), sizeof address);
  return RWSockAddr(std::make_unique<RWInetAddr>(RWInetServicePort(ntohs(address.sin_port)),
                                                 RWInetHost(address.sin_addr.s_addr), type));
}

RWSockAddr RWInetAddrFactory::makeFromText(const RWCString& text) const {
  return RWSockAddr(std::make_unique<RWInetAddr>(text));
}

}  // namespace orla
