// The factories that make socket addresses from raw addresses and from texts, and their registry.
//
// Factories are registered before other threads use the registry: only its creation is locked.
#pragma once

#include <map>

#include "foundation/RWCString.h"
#include "net/RWSockAddr.h"

namespace orla {

/// Makes the addresses of a family.
class RWSockAddrFactoryBase {
 public:
  /// An address from a raw one, for a socket of `type`. Throws RWSockBadAddressFormatError when it
  /// has too few bytes for its family.
  virtual RWSockAddr makeFromRaw(const RWRawSockAddr& raw, int type = 1) const = 0;
  /// An address from its text.
  virtual RWSockAddr makeFromText(const RWCString& text) const = 0;

 protected:
  RWSockAddrFactoryBase() = default;
  RWSockAddrFactoryBase(const RWSockAddrFactoryBase&) = delete;
  RWSockAddrFactoryBase& operator=(const RWSockAddrFactoryBase&) = delete;
  ~RWSockAddrFactoryBase() = default;
};

/// The registry: hands each address to the factory of its family. "inet", number 2, is there from
/// the start.
class RWSockAddrFactory final : public RWSockAddrFactoryBase {
 public:
  /// The one registry, made on first use.
  static RWSockAddrFactory& instance();

  /// Registers `factory`, which must live as long as the registry, for a family's name (letter case
  /// ignored) or number. Again for the same factory is no error; throws RWNetAlreadyRegisteredError
  /// when the family has another.
  void registerFactory(const RWCString& familyName, const RWSockAddrFactoryBase& factory);
  void registerFactory(int familyNumber, const RWSockAddrFactoryBase& factory);

  /// The factory of a family. Throws RWNetNoNameFactoryRegisteredError or
  /// RWNetNoNumberFactoryRegisteredError when it has none.
  const RWSockAddrFactoryBase& factory(const RWCString& familyName) const;
  const RWSockAddrFactoryBase& factory(int familyNumber) const;

  /// By the family number that opens the raw address.
  RWSockAddr makeFromRaw(const RWRawSockAddr& raw, int type = 1) const override;
  /// By the family name that opens the text: "inet:www:80".
  RWSockAddr makeFromText(const RWCString& text) const override;

 private:
  std::map<RWCString, const RWSockAddrFactoryBase*> byName_;
  std::map<int, const RWSockAddrFactoryBase*> byNumber_;
};

/// The factory of the family "inet", number 2.
class RWInetAddrFactory final : public RWSockAddrFactoryBase {
 public:
  /// Registers itself with `registry`, which it must outlive.
  explicit RWInetAddrFactory(RWSockAddrFactory& registry);

  RWSockAddr makeFromRaw(const RWRawSockAddr& raw, int type = 1) const override;
  RWSockAddr makeFromText(const RWCString& text) const override;
};

}  // namespace orla
