// The file that holds all named objects of one user.
//
//   byte 0         locked exclusively while a process enters or leaves (the gate)
//   byte 1         locked shared by every process that has the file open
//   byte 2 + I     locked shared by every process that has the object in slot I open
//
// The kernel drops the locks of a process that is killed. A process that is in the gate and gets one
// of the other bytes exclusively is therefore alone with the file or the object, whatever a killed
// process left there. What other processes left is never used again, because a process whose locks
// are lost (it closed descriptors that are not its own, or is a forked child) may still use it. A
// file with few free slots is replaced by a new one; its users keep the old one.
//
// The locks belong to the open file, so that a forked child shares its parent's. A process therefore
// drops the lock of no slot before it closes the file, which it does when it has closed its last
// object.
//
// The file is in the first of these directories that is safe: /run/user/UID, if it belongs to the
// user alone; for root /run/orla, which is created; /dev/shm. No environment variable counts,
// because all processes of the user must find the same file. Its name contains the PID namespace:
// the owner of a mutex is a thread, and containers with separate namespaces number their threads
// alike.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <sys/types.h>

#include "platform/posix/object.h"

namespace orla::posix {

/// The user's file, as this process has it open. Not thread-safe.
class SharedFile {
 public:
  static constexpr int kSlots = 256;
  /// A file with fewer free slots is not opened any more.
  static constexpr int kMinFreeSlots = 64;
  static constexpr std::size_t kStateSize = 128;
  static constexpr std::size_t kMaxName = 260;

  /// The place of one object. Everything is zero in a free slot.
  struct Slot {
    enum class Use : std::uint32_t {
      kFree,
      kUsed,
      kLeft,  // By all processes that had it open.
    };

    Use use;
    Object::Kind kind;
    char name[kMaxName + 1];
    alignas(std::max_align_t) unsigned char state[kStateSize];
  };

  /// Opens and maps the file, and enters the gate. Returns false, with nothing open, if the objects
  /// cannot be shared.
  bool open() noexcept;
  /// Closes the file. The last process to do so removes it.
  void close() noexcept;

  bool isOpen() const noexcept { return descriptor_ >= 0; }
  /// Returns false if this process no longer owns the locks, because the program closed the
  /// descriptor, or because this is a forked child.
  bool isOurs() const noexcept;

  /// Waits until no other process is in the gate. Returns false if locking fails.
  bool enterGate() noexcept;
  void leaveGate() noexcept;

  // The caller of the following functions must be in the gate.

  Slot& slot(int index) noexcept;
  /// Marks the object in slot `index` as open in this process, which lasts until close(). Returns
  /// false if locking fails.
  bool openSlot(int index) noexcept;
  /// Returns true if no other process has the object in slot `index` open. This process must have
  /// closed it, or must never have opened it.
  bool isLeft(int index) noexcept;

  /// Returns true if this process has opened the object in slot `index` since it opened the file, and
  /// has not retained the slot.
  bool isOwn(int index) const noexcept { return own_[static_cast<std::size_t>(index)]; }
  /// Retains the slot and the mapping until the process ends, because a thread still owns what is in
  /// the slot.
  void retainSlot(int index) noexcept;

 private:
  struct Layout;
  enum class Attempt { kDone, kRepeat, kFailed };

  Attempt tryOpen() noexcept;
  bool map(bool isFresh) noexcept;
  bool hasFreeSlots() const noexcept;
  void closeUnlocked() noexcept;

  char path_[128] = {};
  int descriptor_ = -1;
  ::pid_t process_ = 0;
  ::dev_t device_ = 0;
  ::ino_t inode_ = 0;
  Layout* layout_ = nullptr;
  bool isMappingRetained_ = false;
  std::array<bool, kSlots> own_{};
};

}  // namespace orla::posix
