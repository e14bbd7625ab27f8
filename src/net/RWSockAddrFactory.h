// The factories that create socket addresses from raw addresses and from texts, and their registry.
//
// Register factories before other threads use the registry. Only its creation is locked.
#pragma once

#include <map>

#include "foundation/RWCString.h"
#include "net/RWSockAddr.h"

namespace orla {

/// Creates the addresses of a family.
class RWSockAddrFactoryBase {
 public:
  /// Creates an address from a raw one, for a socket of `type`. Throws RWSockBadAddressFormatError
  /// if it has too few bytes for its family.
  virtual RWSockAddr makeFromRaw(const RWRawSockAddr& raw, int type = 1) const = 0;
  /// Creates an address from its text. Throws RWSockBadAddressFormatError if the text is invalid.
  virtual RWSockAddr makeFromText(const RWCString& text) const = 0;

 protected:
  RWSockAddrFactoryBase() = default;
  RWSockAddrFactoryBase(const RWSockAddrFactoryBase&) = delete;
  RWSockAddrFactoryBase& operator=(const RWSockAddrFactoryBase&) = delete;
  ~RWSockAddrFactoryBase() = default;
};

/// The registry: passes each address to the factory of its family. The family "inet", number 2, is
/// always registered.
class RWSockAddrFactory final : public RWSockAddrFactoryBase {
 public:
  /// The registry of the process, created on first use.
  static RWSockAddrFactory& instance();

  /// Registers `factory` for a family's name (in any case) or number. The factory must outlive the
  /// registry. Throws RWNetAlreadyRegisteredError if the family has a different factory.
  /// Registering the same factory again has no effect.
  void registerFactory(const RWCString& familyName, const RWSockAddrFactoryBase& factory);
  void registerFactory(int familyNumber, const RWSockAddrFactoryBase& factory);

  /// Returns the factory of a family. Throws RWNetNoNameFactoryRegisteredError or
  /// RWNetNoNumberFactoryRegisteredError if it has none.
  const RWSockAddrFactoryBase& factory(const RWCString& familyName) const;
  const RWSockAddrFactoryBase& factory(int familyNumber) const;

  /// Uses the factory of the family number at the beginning of the raw address.
  RWSockAddr makeFromRaw(const RWRawSockAddr& raw, int type = 1) const override;
  /// Uses the factory of the family name at the beginning of the text: "inet:www:80".
  RWSockAddr makeFromText(const RWCString& text) const override;

 private:
  std::map<RWCString, const RWSockAddrFactoryBase*> byName_;
  std::map<int, const RWSockAddrFactoryBase*> byNumber_;
};

/// The factory of the family "inet", number 2.
class RWInetAddrFactory final : public RWSockAddrFactoryBase {
 public:
  /// Registers itself with `registry` and must outlive it.
  explicit RWInetAddrFactory(RWSockAddrFactory& registry);

  RWSockAddr makeFromRaw(const RWRawSockAddr& raw, int type = 1) const override;
  RWSockAddr makeFromText(const RWCString& text) const override;
};

}  // namespace orla
