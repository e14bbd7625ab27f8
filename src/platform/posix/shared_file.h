// The file that holds all named objects of one user.
//
//   byte 0         locked exclusively while a process enters or leaves (the gate)
//   byte 1         locked shared by every process that has the file open
//   byte 2 + I     locked shared by every process that has the object in slot I open
//
// The kernel drops the locks of a process that is killed. A process that is in the gate and gets one
// of the other bytes exclusively is therefore alone with the file or the object, whatever a killed
// process left there. Leftovers are replaced, never used again, because a process that closed
// descriptors that are not its own may still have them mapped. The locks belong to the open file, so
// that a forked child shares its parent's.
//
// The file is in the first of these directories that is safe: /run/user/UID, if it belongs to the
// user alone; for root /run/orla, which is created; /dev/shm. No environment variable counts,
// because all processes of the user must find the same file. Its name contains the PID namespace:
// the owner of a mutex is a thread, and containers with separate namespaces number their threads
// alike.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

#include "platform/posix/object.h"

namespace orla::posix {

/// One opening of the file. Not thread-safe.
class SharedFile {
 public:
  static constexpr int kSlots = 128;
  static constexpr std::size_t kStateSize = 128;
  static constexpr std::size_t kMaxName = 260;

  /// The place of one object. Everything is zero in a free slot.
  struct Slot {
    enum class Use : std::uint32_t { kFree, kUsed, kRetired };

    Use use;
    Object::Kind kind;
    char name[kMaxName + 1];
    alignas(std::max_align_t) unsigned char state[kStateSize];
  };

  /// Opens and maps the file, and enters the gate. Returns false, with nothing open, if the objects
  /// cannot be shared.
  bool open() noexcept;
  /// Leaves the gate and closes the file. The last process to close it removes it. `unmap` ends the
  /// mapping, too.
  void close(bool unmap) noexcept;

  bool isOpen() const noexcept { return descriptor_ >= 0; }
  /// Returns false if the locks are not this process's any more: the host program closed the
  /// descriptor, or this is a forked child.
  bool isOurs() const noexcept;

  /// Waits until no other process is in the gate. Returns false if locking fails.
  bool enterGate() noexcept;
  void leaveGate() noexcept;

  // The rest is for a caller that is in the gate.

  Slot& slot(int index) noexcept;
  /// Returns true if no process has the object in slot `index` open. It must not be open in this
  /// process.
  bool isUnused(int index) noexcept;
  /// Marks the object as open in this process. Returns false if locking fails.
  bool lockSlot(int index) noexcept;
  void unlockSlot(int index) noexcept;

 private:
  struct Layout;
  enum class Entry { kDone, kAgain, kFailed };

  Entry tryOpen() noexcept;
  bool map(bool isFresh) noexcept;
  void removeIfUnused() noexcept;

  char path_[128] = {};
  int descriptor_ = -1;
  ::pid_t process_ = 0;
  ::dev_t device_ = 0;
  ::ino_t inode_ = 0;
  Layout* layout_ = nullptr;
};

}  // namespace orla::posix
