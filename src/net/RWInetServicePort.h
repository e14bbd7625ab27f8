// An internet port: a number, the name of a service, or both.
//
// What is missing is looked up in the system's table of services when it is asked for, and kept.
// Ports are plain values without locks: asking counts as changing.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/RWCString.h"

namespace orla {

class RWInetServicePort {
 public:
  /// From a number. Throws RWInetServiceNotFoundError for one above 65535: no such port exists, and
  /// a number cut to 16 bits would name another service's port.
  explicit RWInetServicePort(std::uint32_t number);
  /// From decimal digits or a service name. Throws RWInetServiceNotFoundError for an empty text and
  /// for a number above 65535.
  explicit RWInetServicePort(const RWCString& text);

  /// In host byte order. Throws RWInetServiceNotFoundError for a service that is not found.
  std::uint16_t number() const;
  /// The name as given, or the official one once looked up; empty when the system has none for the
  /// number.
  const RWCString& name() const;
  /// Always looks up. Throws as number() does; empty when the system has no such number.
  const std::vector<RWCString>& aliases() const;

  /// For diagnostics: the number, or the name where that is all that is known.
  RWCString text() const;

 private:
  /// Fills in what is not known.
  void resolve() const;

  /// What is known, given or looked up.
  struct Known {
    std::uint16_t number = 0;
    RWCString name;
    std::vector<RWCString> aliases;
    bool hasNumber = false;
    bool hasName = false;
  };

  mutable Known known_;
};

}  // namespace orla
