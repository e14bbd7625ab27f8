// The kind of a socket: what the system is asked for when one is made.
#pragma once

#include "foundation/RWCString.h"

namespace orla {

/// Family, type and protocol, by the system's numbers.
struct RWSockKind {
  int family = 2;    // AF_INET
  int type = 1;      // 1 stream, 2 dgram, 3 raw, 4 rdm, 5 seqpacket
  int protocol = 0;  // The family's default for the type.

  /// "inet:stream"; the family alone when the type has no name. A family other than inet prints as
  /// its number.
  RWCString text() const;
  /// The number of a type's name, letter case ignored; throws RWSockBadAddressFormatError for a
  /// name that is none.
  static int typeNamed(const RWCString& name);
};

}  // namespace orla
