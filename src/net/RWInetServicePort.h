// An internet port: a number, the name of a service, or both.
//
// A missing value is looked up in the system's table of services when an accessor needs it, and is
// then stored.
//
// Ports are plain values without locks. The accessors may store what they look up: two threads must
// not call them on the same object at the same time.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/RWCString.h"

namespace orla {

class RWInetServicePort {
 public:
  /// From a number. Throws RWInetServiceNotFoundError if it is above 65535, because its low 16 bits
  /// would be the port of another service.
  explicit RWInetServicePort(std::uint32_t number);
  /// From decimal digits or a service name. Looks nothing up. Throws RWInetServiceNotFoundError if
  /// the text is empty or the number is above 65535.
  explicit RWInetServicePort(const RWCString& text);

  /// In host byte order. Throws RWInetServiceNotFoundError if the system does not know the service.
  std::uint16_t number() const;
  /// The given name, or the official one after a lookup. Empty if the system has no name for the
  /// number.
  const RWCString& name() const;
  /// Always needs a lookup. Throws as number() does. Empty if the system has no name for the
  /// number.
  const std::vector<RWCString>& aliases() const;

  /// For diagnostics, without a lookup: the number, or the name if only that is known.
  RWCString text() const;

 private:
  /// Looks up the values that are not known.
  void resolve() const;

  /// The values that were given or looked up.
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
