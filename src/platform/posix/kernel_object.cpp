#include "platform/posix/kernel_object.h"

#include <vector>

namespace orla::posix {

namespace {

/// Retains an object that a thread still owns, for the rest of the process.
void retain(KernelObject* object) noexcept {
  static std::mutex lock;
  static auto* const owned = new (std::nothrow) std::vector<KernelObject*>;
  try {
    // The list keeps the object reachable, so that leak checkers do not report it.
    const std::lock_guard guard(lock);
    if (owned != nullptr) owned->push_back(object);
  } catch (const std::bad_alloc&) {
    // Without the entry, a leak checker may report the object, but nothing else changes.
  }
}

/// Ends an object that has no handle left.
void destroy(KernelObject* object) noexcept {
  if (object->retire()) {
    delete object;
    return;
  }
  if (object->memory() != nullptr) object->memory()->abandon();
  retain(object);
}

}  // namespace

NamedObjects& namedObjects() {
  static NamedObjects objects;
  return objects;
}

DWORD KernelObject::close() noexcept {
  if (memory_ == nullptr) {
    destroy(this);
    return ERROR_SUCCESS;
  }
  NamedObjects& named = namedObjects();
  const std::lock_guard guard(named.lock);
  for (auto place = named.entries.begin(); place != named.entries.end(); ++place) {
    if (place->second.object != this) continue;
    if (--place->second.handles == 0) {
      named.entries.erase(place);
      destroy(this);
    }
    return ERROR_SUCCESS;
  }
  return ERROR_INVALID_HANDLE;
}

}  // namespace orla::posix
