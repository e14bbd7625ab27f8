// The kind of a socket: the arguments of the system's socket() call.
#pragma once

#include "foundation/RWCString.h"

namespace orla {

/// Family, type and protocol, with the system's numbers.
struct RWSockKind {
  int family = 2;    // AF_INET
  int type = 1;      // 1 stream, 2 dgram, 3 raw, 4 rdm, 5 seqpacket
  int protocol = 0;  // The family's default for the type.

  /// For example "inet:stream". The family alone if the type has no name. A family other than inet
  /// is printed as its number.
  RWCString text() const;
  /// Returns the number of a type name, in any case. Throws RWSockBadAddressFormatError if there is
  /// no such type.
  static int typeNamed(const RWCString& name);
};

}  // namespace orla
