// The base of the bodies that threads may share: HTTP clients and functors.
#pragma once

#include "foundation/RWReference.h"
#include "threads/RWMutexLock.h"
#include "threads/RWTHRErrors.h"

namespace orla {

/// A reference-counted body whose count is guarded by a mutex once it is shared.
class RWBodyBase : public RWTCountingBody<RWMutexLock> {};

/// Returns the body that `handle` holds. Throws RWTHRInvalidPointer if it holds none.
template <class Body>
Body& bodyOf(const RWTHandle<Body>& handle) {
  if (!handle) throw RWTHRInvalidPointer();
  return *handle;
}

}  // namespace orla
