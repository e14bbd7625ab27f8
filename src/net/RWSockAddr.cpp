#include "net/RWSockAddr.h"

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

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

RWSockAddr::RWSockAddr(std::unique_ptr<const RWSockAddrBase> address)
    : body_(address ? new Body(std::move(address)) : nullptr) {}

RWCString RWSockAddr::text() const {
  return isValid() ? address().text() : "no address";
}

const RWSockAddrBase& RWSockAddr::address() const {
  if (!isValid()) throw RWInternalErr("RWSockAddr: no address");
  return *body_->address;
}

RWSockAddrFactory& RWSockAddrFactory::instance() {
  struct Made {
    RWSockAddrFactory registry;
    RWInetAddrFactory inet{registry};
  };
  static Made made;  // Under the language's lock: two threads never make two.
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

RWSockAddr RWSockAddrFactory::makeFromRaw(const void* raw, int length, int type) const {
  std::uint16_t family = 0;
  if (length < static_cast<int>(sizeof family)) throw RWSockBadAddressFormatError(length);
  std::memcpy(&family, raw, sizeof family);
  return factory(family).makeFromRaw(raw, length, type);
}

RWSockAddr RWSockAddrFactory::makeFromText(const RWCString& text) const {
  const RWCString plain = normalizedAddressText(text);
  return factory(plain.substr(0, plain.find(' '))).makeFromText(text);
}

RWCString normalizedAddressText(const RWCString& text) {
  RWCString plain = text;
  std::size_t size = 0;
  std::vector<std::size_t> openBrackets;
  for (const char c : text) {
    if (c == ')' && !openBrackets.empty()) {
      size = openBrackets.back();
      openBrackets.pop_back();
      continue;
    }
    if (c == '(') openBrackets.push_back(size);
    plain[size++] = c == ':' ? ' ' : c;
  }
  plain.resize(size);
  return RWCString(stripLeadingBlanks(stripTrailingBlanks(plain)));
}

}  // namespace orla
