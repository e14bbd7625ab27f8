// The shared memory of one named object.
//
// Objects that cannot be shared (no directory is safe, the file belongs to another user, the file
// system is full or read-only, no descriptor is free) are private to the process. All named objects
// that a process has open at one time are shared, or all are private, because the objects that make
// up one lock must agree.
#pragma once

#include <cstddef>
#include <memory>

#include "platform/posix/shared_file.h"

namespace orla::posix {

/// Not thread-safe: callers hold one lock for all named memory of the process.
class NamedMemory {
 public:
  static constexpr std::size_t kStateSize = SharedFile::kStateSize;

  /// Opens the memory of `name`, which this process does not have open, and keeps every other
  /// process from entering or leaving until share(). Waits for a process that is entering or leaving
  /// at the time. Returns null and sets `error` on failure: ERROR_FILENAME_EXCED_RANGE for a name of
  /// more than 260 bytes, ERROR_INVALID_HANDLE for the name of another kind of object,
  /// ERROR_TOO_MANY_OPEN_FILES if the user has too many objects. Throws std::bad_alloc.
  static std::unique_ptr<NamedMemory> enter(const char* name, Object::Kind kind, DWORD& error);

  /// Gives the name up, and lets other processes enter.
  ~NamedMemory();
  NamedMemory(const NamedMemory&) = delete;
  NamedMemory& operator=(const NamedMemory&) = delete;

  /// Returns true if no other process has the object open. `state()` is then zero, and the caller
  /// initializes it.
  bool isFresh() const noexcept { return isFresh_; }
  /// kStateSize bytes, aligned for any type, shared with the other processes.
  void* state() const noexcept { return state_; }
  /// Lets other processes enter.
  void share() noexcept;
  /// Gives the name up, but retains the memory until the process ends, because a thread still owns
  /// what is in it.
  void abandon() noexcept;

 private:
  NamedMemory() noexcept = default;

  bool enterSlot(const char* name, Object::Kind kind, DWORD& error) noexcept;
  void leave() noexcept;

  bool isEntered_ = false;
  bool isInGate_ = false;
  bool isFresh_ = true;
  int slot_ = -1;  // -1: private.
  void* state_ = private_;
  alignas(std::max_align_t) unsigned char private_[kStateSize] = {};
};

}  // namespace orla::posix
