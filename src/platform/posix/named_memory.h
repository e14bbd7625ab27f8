// The shared memory of one named object.
//
// Objects that cannot be shared (the file belongs to another user, the file system is full or
// read-only, no descriptor is free, the PID namespace is unknown) are private to the process. All named objects
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

  /// Opens the memory of `name`, which this process must not have open. Until share() is called, no
  /// other process can open or close memory; if one is doing so now, waits for it. Throws
  /// std::bad_alloc. On failure returns null and sets `error` to
  /// - ERROR_FILENAME_EXCED_RANGE if the name has more than 260 bytes,
  /// - ERROR_INVALID_HANDLE if an object of another kind has the name, or if this process has lost
  ///   its locks (SharedFile::isOurs()),
  /// - ERROR_TOO_MANY_OPEN_FILES if the user has too many objects,
  /// - another code if locking fails.
  static std::unique_ptr<NamedMemory> enter(const char* name, Object::Kind kind, DWORD& error);

  /// Releases the name and the memory. Other processes can then open and close memory.
  ~NamedMemory();
  NamedMemory(const NamedMemory&) = delete;
  NamedMemory& operator=(const NamedMemory&) = delete;

  /// Returns true if no other process has the object open. `state()` is then zero, and the caller
  /// initializes it.
  bool isFresh() const noexcept { return isFresh_; }
  /// kStateSize bytes, aligned for any type, shared with the other processes.
  void* state() const noexcept { return state_; }
  /// Other processes can then open and close memory.
  void share() noexcept;
  /// Releases the name, but not the memory, which stays mapped until the process ends. For an
  /// object that a thread still owns.
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
