#include <cerrno>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "platform/posix/kernel_object.h"
#include "platform/posix/last_error.h"

namespace orla {

using posix::fail;
using posix::objectOf;

namespace {

/// The named objects that this process has open, one of each name however many handles it has.
struct NamedObjects {
  struct Entry {
    posix::KernelObject* object;
    std::size_t handles;
  };
  std::mutex lock;
  std::map<std::string, Entry> entries;
};

/// Made by the first object of a name, and so destroyed after any static object that made it.
NamedObjects& namedObjects() {
  static NamedObjects objects;
  return objects;
}

/// Deletes an object without handles; one that another thread still owns stays in memory.
void end(posix::KernelObject* object) noexcept {
  if (object->retire()) {
    delete object;
    return;
  }
  if (object->memory() != nullptr) object->memory()->abandon();
  static std::mutex lock;
  static auto* const owned = new (std::nothrow) std::vector<posix::KernelObject*>;
  try {
    // Leak checkers then know it.
    const std::lock_guard guard(lock);
    if (owned != nullptr) owned->push_back(object);
  } catch (const std::bad_alloc&) {
    // It stays in memory all the same.
  }
}

/// The one way of creating: `initialise` runs on an object that is fresh.
template <typename T, typename Initialise>
HANDLE create(const char* name, Initialise initialise) noexcept {
  DWORD error = ERROR_SUCCESS;
  posix::KernelObject* result = nullptr;
  try {
    // An empty name is none.
    if (name == nullptr || *name == '\0') {
      auto* object = new T(nullptr);
      initialise(*object);
      result = object;
    } else {
      NamedObjects& named = namedObjects();
      const std::lock_guard guard(named.lock);
      const auto [place, isNew] = named.entries.try_emplace(name, NamedObjects::Entry{nullptr, 0});
      NamedObjects::Entry& entry = place->second;
      try {
        if (isNew) {
          if (auto memory = posix::NamedMemory::enter(name, T::kKind, error)) {
            posix::NamedMemory& entered = *memory;
            auto* object = new T(std::move(memory));
            if (entered.isFresh())
              initialise(*object);
            else
              error = ERROR_ALREADY_EXISTS;
            entered.share();
            entry.object = object;
          }
        } else {
          error = entry.object->kind() == T::kKind ? ERROR_ALREADY_EXISTS : ERROR_INVALID_HANDLE;
        }
      } catch (const std::bad_alloc&) {
        error = ERROR_NOT_ENOUGH_MEMORY;
      }
      if (error == ERROR_SUCCESS || error == ERROR_ALREADY_EXISTS) {
        ++entry.handles;
        result = entry.object;
      } else if (isNew) {
        named.entries.erase(place);
      }
    }
  } catch (const std::bad_alloc&) {
    error = ERROR_NOT_ENOUGH_MEMORY;
  }
  SetLastError(error);
  return result;
}

}  // namespace

DWORD posix::KernelObject::close() noexcept {
  if (memory_ == nullptr) {
    end(this);
    return ERROR_SUCCESS;
  }
  NamedObjects& named = namedObjects();
  const std::lock_guard guard(named.lock);
  for (auto place = named.entries.begin(); place != named.entries.end(); ++place) {
    if (place->second.object != this) continue;
    if (--place->second.handles == 0) {
      named.entries.erase(place);
      end(this);
    }
    return ERROR_SUCCESS;
  }
  return ERROR_INVALID_HANDLE;
}

HANDLE CreateMutexA(SECURITY_ATTRIBUTES*, BOOL initialOwner, const char* name) noexcept {
  return create<posix::Mutex>(name, [=](posix::Mutex& mutex) { mutex.initialise(initialOwner); });
}

BOOL ReleaseMutex(HANDLE handle) noexcept {
  auto* mutex = objectOf<posix::Mutex>(handle);
  if (mutex == nullptr) return FALSE;
  return mutex->release() ? TRUE : fail(ERROR_NOT_OWNER);
}

HANDLE CreateEventA(SECURITY_ATTRIBUTES*, BOOL manualReset, BOOL initialState,
                    const char* name) noexcept {
  return create<posix::Event>(
      name, [=](posix::Event& event) { event.initialise(manualReset, initialState); });
}

BOOL SetEvent(HANDLE handle) noexcept {
  auto* event = objectOf<posix::Event>(handle);
  if (event == nullptr) return FALSE;
  event->set();
  return TRUE;
}

BOOL ResetEvent(HANDLE handle) noexcept {
  auto* event = objectOf<posix::Event>(handle);
  if (event == nullptr) return FALSE;
  event->reset();
  return TRUE;
}

HANDLE CreateSemaphoreA(SECURITY_ATTRIBUTES*, LONG initial, LONG maximum,
                        const char* name) noexcept {
  if (maximum <= 0 || initial < 0 || initial > maximum) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return create<posix::Semaphore>(
      name, [=](posix::Semaphore& semaphore) { semaphore.initialise(initial, maximum); });
}

BOOL ReleaseSemaphore(HANDLE handle, LONG count, LONG* previous) noexcept {
  auto* semaphore = objectOf<posix::Semaphore>(handle);
  if (semaphore == nullptr) return FALSE;
  if (count <= 0) return fail(ERROR_INVALID_PARAMETER);
  std::uint32_t before;
  if (!semaphore->release(static_cast<std::uint32_t>(count), before))
    return fail(ERROR_TOO_MANY_POSTS);
  if (previous != nullptr) *previous = static_cast<LONG>(before);
  return TRUE;
}

}  // namespace orla
