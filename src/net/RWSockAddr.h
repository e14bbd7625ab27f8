// Socket addresses of any family, and the registry of the factories that make them from a raw
// address or from a text.
//
// Addresses are values without locks. Factories are registered before other threads use the
// registry: only its creation is locked.
#pragma once

#include <map>
#include <memory>

#include "foundation/RWCString.h"
#include "foundation/RWReference.h"
#include "net/RWSockKind.h"

namespace orla {

/// What every socket address can tell.
class RWSockAddrBase {
 public:
  virtual ~RWSockAddrBase() = default;

  /// The kind of socket that the address asks for.
  virtual RWSockKind kind() const = 0;
  /// The bytes of the system's sockaddr. May look names up, and so block and raise.
  virtual RWCString raw() const = 0;
  /// For diagnostics; never looks anything up.
  virtual RWCString text() const = 0;

 protected:
  RWSockAddrBase() = default;
  RWSockAddrBase(const RWSockAddrBase&) = default;
  RWSockAddrBase& operator=(const RWSockAddrBase&) = default;
};

/// A counted handle to an address of whatever family, or to none. Copies share the address.
class RWSockAddr : public RWSockAddrBase {
 public:
  /// No address: kind() and raw() throw RWInternalErr.
  RWSockAddr() = default;
  explicit RWSockAddr(std::unique_ptr<const RWSockAddrBase> address);
  ~RWSockAddr() noexcept override = default;
  RWSockAddr(const RWSockAddr&) = default;
  RWSockAddr& operator=(const RWSockAddr&) = default;

  bool isValid() const noexcept { return static_cast<bool>(body_); }
  RWSockKind kind() const override { return address().kind(); }
  RWCString raw() const override { return address().raw(); }
  /// "no address" when there is none.
  RWCString text() const override;

 private:
  struct Body final : RWReference {
    explicit Body(std::unique_ptr<const RWSockAddrBase> a) : address(std::move(a)) {}
    std::unique_ptr<const RWSockAddrBase> address;
  };

  const RWSockAddrBase& address() const;

  RWTHandle<Body> body_;
};

/// Makes the addresses of a family.
class RWSockAddrFactoryBase {
 public:
  /// An address from the first `length` bytes of a sockaddr, for a socket of `type`. Throws
  /// RWSockBadAddressFormatError when they are too few for the family.
  virtual RWSockAddr makeFromRaw(const void* raw, int length, int type = 1) const = 0;
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
  RWSockAddr makeFromRaw(const void* raw, int length, int type = 1) const override;
  /// By the family name that opens the text: "inet:www:80".
  RWSockAddr makeFromText(const RWCString& text) const override;

 private:
  std::map<RWCString, const RWSockAddrFactoryBase*> byName_;
  std::map<int, const RWSockAddrFactoryBase*> byNumber_;
};

/// An address text in its plain form: comments (from a "(" to its matching ")") removed, each ":"
/// replaced by a blank, blanks stripped from both ends. A bracket without its match stays.
RWCString normalizedAddressText(const RWCString& text);

}  // namespace orla
