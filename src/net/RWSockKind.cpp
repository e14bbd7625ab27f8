#include "net/RWSockKind.h"

#include "platform/winapi.h"

#include <iterator>

#include "net/RWNetErrors.h"

namespace orla {

namespace {

// Numbered from 1.
constexpr const char* kTypeNames[] = {"stream", "dgram", "raw", "rdm", "seqpacket"};
constexpr int kTypes = std::size(kTypeNames);

}  // namespace

RWCString RWSockKind::text() const {
  RWCString result = family == AF_INET ? "inet" : std::to_string(family);
  if (type >= 1 && type <= kTypes) result.append(":").append(kTypeNames[type - 1]);
  return result;
}

int RWSockKind::typeNamed(const RWCString& name) {
  for (int type = 1; type <= kTypes; ++type) {
    if (equalIgnoringCase(name, kTypeNames[type - 1])) return type;
  }
  throw RWSockBadAddressFormatError(name);
}

}  // namespace orla
