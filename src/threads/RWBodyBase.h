// The base of bodies that threads share: HTTP clients and functors.
#pragma once

#include "foundation/RWReference.h"
#include "threads/RWMutexLock.h"
#include "threads/RWTHRErrors.h"

namespace orla {

/// A reference-counted body whose count is guarded by a mutex as soon as it is shared.
class RWBodyBase : public RWTCountingBody<RWMutexLock> {};

/// The body that `handle` holds; throws RWTHRInvalidPointer when it holds none.
template <class Body>
Body& bodyOf(const RWTHandle<Body>& handle) {
  if (!handle) throw RWTHRInvalidPointer();
  return *handle;
}

}  // namespace orla
