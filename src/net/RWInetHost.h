// An internet host: a name, an IPv4 address, or both.
//
// A host is created from a name or an address. The other value is looked up when an accessor needs
// it, on the calling thread and without a timeout, and is then stored. A failed lookup is stored
// too, so that the resolver is called once.
//
// Hosts are plain values without locks. The accessors may store what they look up: two threads must
// not call them on the same object at the same time.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/RWCString.h"

namespace orla {

class RWInetHost {
 public:
  /// The any-address, which means every address of this computer. It is never looked up.
  RWInetHost();
  /// From a name, a dotted address or "ANY" (in any case). Looks nothing up. Throws
  /// RWInetHostNotFoundError if the text is empty.
  explicit RWInetHost(const RWCString& text);
  /// From an address in network byte order.
  explicit RWInetHost(std::uint32_t address);

  /// Returns this computer, by its own host name. Throws RWInetHostNotFoundError if it has none.
  static RWInetHost me();

  // The accessors look up what is not known, and throw RWInetHostNotFoundError if the lookup fails.

  /// Returns the given name, or the official one if only the address was given. Always throws for
  /// the any-address, which has no name.
  const RWCString& name() const;
  /// Returns the given address, or the first one that the lookup found, in network byte order.
  std::uint32_t address() const;
  /// These return what the lookup found, and look the host up unless that has happened before. For
  /// the any-address they are empty, without a lookup.
  const std::vector<RWCString>& aliases() const;
  const std::vector<std::uint32_t>& addresses() const;

  /// For diagnostics, without a lookup: the name or the dotted address, then the known aliases and
  /// addresses in parentheses.
  RWCString text() const;

 private:
  /// Looks up the values that are not known, unless a lookup has failed before.
  void resolve() const;
  void requireLookup() const;

  /// The values that were given or looked up.
  struct Known {
    RWCString name;
    std::uint32_t address = 0;
    std::vector<RWCString> aliases;
    std::vector<std::uint32_t> addresses;
    bool hasName = false;
    bool hasAddress = false;
    bool lookupFailed = false;
  };

  mutable Known known_;
};

/// Returns the dotted form of an address in network byte order.
RWCString dottedAddress(std::uint32_t address);

}  // namespace orla
