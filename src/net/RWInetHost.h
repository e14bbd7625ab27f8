// An internet host: a name, an IPv4 address, or both.
//
// A host is made from what the caller has; what is missing is looked up when it is asked for, on
// the calling thread and without a limit of time, and kept. A failed look-up is remembered, so that
// the resolver is asked once. Hosts are plain values without locks: asking counts as changing.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/RWCString.h"

namespace orla {

class RWInetHost {
 public:
  /// The any-address: every address of this machine. It is never looked up.
  RWInetHost();
  /// From a name, a dotted address or "ANY" (letter case ignored). Nothing is looked up. Throws
  /// RWInetHostNotFoundError for an empty text.
  explicit RWInetHost(const RWCString& text);
  /// From an address in network byte order.
  explicit RWInetHost(std::uint32_t address);

  /// This machine, by the name that it calls itself.
  static RWInetHost me();

  /// The accessors throw RWInetHostNotFoundError for what is neither known nor found.
  const RWCString& name() const;
  /// In network byte order.
  std::uint32_t address() const;
  /// Always look up; empty for the any-address.
  const std::vector<RWCString>& aliases() const;
  const std::vector<std::uint32_t>& addresses() const;

  /// For diagnostics, from what is known: the name or the dotted address, then in parentheses the
  /// aliases and the addresses.
  RWCString text() const;

 private:
  /// Fills in what is not known, unless that failed before.
  void resolve() const;
  void requireLookup() const;

  /// What is known, given or looked up.
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

/// The dotted form of an address in network byte order.
RWCString dottedAddress(std::uint32_t address);

}  // namespace orla
