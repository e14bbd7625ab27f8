// A name's shared memory: one file a name, private to the user, that lives while some process has
// it open and is fresh for whoever is alone with it.
//
// Byte 0 of the file is locked, shared, by every process that has it open; byte 1, exclusively,
// while one enters or leaves. The system drops both locks of a process that is killed. So whoever
// holds byte 1 and gets byte 0 exclusively is alone, whatever a killed process left in the file.
// The locks belong to the open file: a forked child shares its parent's.
#pragma once

#include <memory>

#include "platform/posix/object.h"

namespace orla::posix {

class NamedMemory {
 public:
  static constexpr std::size_t kStateSize = 128;
  static constexpr std::size_t kLongestName = 260;

  /// Enters the memory of `name`, and keeps every other process from entering or leaving until
  /// share(). Null with `error` set: ERROR_FILENAME_EXCED_RANGE for a name that is too long,
  /// ERROR_INVALID_HANDLE for one of another kind of object. Throws std::bad_alloc.
  static std::unique_ptr<NamedMemory> enter(const char* name, Object::Kind kind, DWORD& error);

  /// Leaves, and takes the mapping away.
  ~NamedMemory();
  NamedMemory(const NamedMemory&) = delete;
  NamedMemory& operator=(const NamedMemory&) = delete;

  /// Whether this process is alone: `state()` is then zero and its to initialise.
  bool isFresh() const noexcept { return fresh_; }
  /// kStateSize bytes, aligned for any type, shared with the other processes.
  void* state() const noexcept;
  /// Lets others enter.
  void share() noexcept;
  /// Gives the name up; the last process to do so removes the file. The mapping stays.
  void leave() noexcept;

 private:
  struct Layout;

  NamedMemory() = default;

  char path_[256] = {};
  int descriptor_ = -1;
  bool fresh_ = false;
  Layout* layout_ = nullptr;
};

}  // namespace orla::posix
