// Socket addresses of any family. Addresses are values without locks.
#pragma once

#include <array>
#include <memory>
#include <utility>

#include "foundation/RWCString.h"
#include "foundation/RWReference.h"
#include "net/RWSockKind.h"

namespace orla {

/// A raw socket address: the bytes of the system's sockaddr, of any family.
struct RWRawSockAddr {
  static constexpr int kCapacity = 257;

  alignas(8) std::array<unsigned char, kCapacity> bytes = {};
  int length = 0;  // The number of bytes that are the address.
};

/// The base of socket addresses.
class RWSockAddrBase {
 public:
  virtual ~RWSockAddrBase() = default;

  /// The kind of socket that the address asks for.
  virtual RWSockKind kind() const = 0;
  /// Looks names up if necessary. Then it may block, and throws if the lookup fails.
  virtual RWRawSockAddr raw() const = 0;
  /// For diagnostics. Never looks anything up.
  virtual RWCString text() const = 0;

 protected:
  RWSockAddrBase() = default;
  RWSockAddrBase(const RWSockAddrBase&) = default;
  RWSockAddrBase& operator=(const RWSockAddrBase&) = default;
};

/// A counted handle to an address of any family, or to none. Copies share the address.
class RWSockAddr : public RWSockAddrBase {
 public:
  /// No address: then kind() and raw() throw RWInternalErr.
  RWSockAddr() = default;
  explicit RWSockAddr(std::unique_ptr<const RWSockAddrBase> address);
  ~RWSockAddr() noexcept override = default;
  RWSockAddr(const RWSockAddr&) = default;
  RWSockAddr& operator=(const RWSockAddr&) = default;

  bool isValid() const noexcept { return static_cast<bool>(body_); }
  RWSockKind kind() const override { return address().kind(); }
  RWRawSockAddr raw() const override { return address().raw(); }
  /// "no address" if there is none.
  RWCString text() const override;

 private:
  struct Body final : RWReference {
    explicit Body(std::unique_ptr<const RWSockAddrBase> a) : address(std::move(a)) {}
    std::unique_ptr<const RWSockAddrBase> address;
  };

  const RWSockAddrBase& address() const;

  RWTHandle<Body> body_;
};

/// Returns an address text in its plain form: without comments (from a "(" to its matching ")"),
/// with a space for each ":", and without spaces at both ends. A parenthesis without its match
/// stays.
RWCString normalizedAddressText(const RWCString& text);

}  // namespace orla
