// The objects that threads wait for. An unnamed object keeps its state in itself. A named one keeps
// it in the shared memory of its name, where the state must stay sound if a process is killed at
// any point.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>

#include "platform/posix/deadline.h"
#include "platform/posix/named_memory.h"
#include "platform/posix/object.h"

namespace orla::posix {

class KernelObject : public Object {
 public:
  /// `memory` is null for an unnamed object.
  KernelObject(Kind kind, std::unique_ptr<NamedMemory> memory) noexcept
      : Object(kind), memory_(std::move(memory)) {}

  /// Takes the object if that needs no waiting.
  virtual bool tryTake() noexcept = 0;
  /// Waits until it has taken the object. Returns false if the deadline passed first.
  virtual bool take(const Deadline& deadline) noexcept = 0;
  /// Returns true if the object was abandoned when it was taken, and false when it is called again.
  /// Only the thread that took the object may call it.
  virtual bool wasAbandoned() noexcept { return false; }
  /// Prepares the object, which has no handle left, for its deletion. Returns false if a thread
  /// still owns it, so that its memory must stay.
  virtual bool retire() noexcept { return true; }

  DWORD close() noexcept override;

  NamedMemory* memory() const noexcept { return memory_.get(); }

 private:
  const std::unique_ptr<NamedMemory> memory_;
};

/// The named objects that this process has open: one of each name, however many handles it has.
struct NamedObjects {
  struct Entry {
    KernelObject* object;
    std::size_t handles;
  };
  std::mutex lock;
  std::map<std::string, Entry> entries;
};

/// Created together with the first named object. It is therefore destroyed later than each static
/// object whose constructor creates a named object.
NamedObjects& namedObjects();

template <typename T, typename Initialize>
KernelObject* createUnnamed(Initialize initialize) {
  auto* const object = new T(nullptr);
  initialize(*object);
  return object;
}

/// Creates a named object, or opens the one that exists, and then sets `error` to
/// ERROR_ALREADY_EXISTS. On failure returns null and sets `error` to the reason. Throws
/// std::bad_alloc.
template <typename T, typename Initialize>
KernelObject* createNamed(const char* name, Initialize initialize, DWORD& error) {
  NamedObjects& named = namedObjects();
  const std::lock_guard guard(named.lock);
  if (const auto known = named.entries.find(name); known != named.entries.end()) {
    auto& [object, handles] = known->second;
    const bool isSameKind = object->kind() == T::kKind;
    error = isSameKind ? ERROR_ALREADY_EXISTS : ERROR_INVALID_HANDLE;
    if (!isSameKind) return nullptr;
    ++handles;
    return object;
  }
  auto memory = NamedMemory::enter(name, T::kKind, error);
  if (memory == nullptr) return nullptr;
  auto object = std::make_unique<T>(std::move(memory));
  named.entries.emplace(name, NamedObjects::Entry{object.get(), 1});
  if (object->memory()->isFresh())
    initialize(*object);
  else
    error = ERROR_ALREADY_EXISTS;
  object->memory()->share();
  return object.release();
}

/// Creates a T, or opens the one with that name. A null or empty name creates an unnamed object.
/// Calls `initialize` only for a new object. Sets the last error. Returns null on failure.
template <typename T, typename Initialize>
HANDLE create(const char* name, Initialize initialize) noexcept {
  DWORD error = ERROR_SUCCESS;
  KernelObject* object = nullptr;
  try {
    const bool isNamed = name != nullptr && *name != '\0';
    object = isNamed ? createNamed<T>(name, initialize, error) : createUnnamed<T>(initialize);
  } catch (const std::bad_alloc&) {
    error = ERROR_NOT_ENOUGH_MEMORY;
  }
  SetLastError(error);
  return object;
}

}  // namespace orla::posix
