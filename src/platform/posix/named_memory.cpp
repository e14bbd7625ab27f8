#include "platform/posix/named_memory.h"

#include <cerrno>
#include <cstring>

#include "platform/posix/last_error.h"

namespace orla::posix {

namespace {

using Slot = SharedFile::Slot;

/// The process's opening of the file, for as long as it has a named object open.
constinit SharedFile file;
constinit int openObjects = 0;
/// Set once memory that a thread still owns is in the mapping.
constinit bool isMappingRetained = false;

/// Finds the slot that has `name`, or a free one; -1 if all are taken.
int findSlot(const char* name) noexcept {
  int free = -1;
  for (int index = SharedFile::kSlots - 1; index >= 0; --index) {
    Slot& slot = file.slot(index);
    if (slot.use == Slot::Use::kFree) {
      free = index;
    } else if (slot.use == Slot::Use::kUsed &&
               std::strncmp(slot.name, name, sizeof slot.name) == 0) {
      if (!file.isUnused(index)) return index;
      slot.use = Slot::Use::kRetired;  // Killed processes left it.
    }
  }
  return free;
}

}  // namespace

std::unique_ptr<NamedMemory> NamedMemory::enter(const char* name, Object::Kind kind, DWORD& error) {
  if (std::strlen(name) > SharedFile::kMaxName) {
    error = ERROR_FILENAME_EXCED_RANGE;
    return nullptr;
  }
  std::unique_ptr<NamedMemory> memory(new NamedMemory);
  const bool isShared = openObjects == 0 ? file.open() : file.isOpen();
  if (isShared && openObjects != 0 && (!file.isOurs() || !file.enterGate())) {
    error = ERROR_INVALID_HANDLE;
    return nullptr;
  }
  memory->named_ = true;
  ++openObjects;
  if (isShared && !memory->enterSlot(name, kind, error)) return nullptr;
  return memory;
}

bool NamedMemory::enterSlot(const char* name, Object::Kind kind, DWORD& error) noexcept {
  const int index = findSlot(name);
  if (index < 0) {
    error = ERROR_TOO_MANY_OPEN_FILES;
    return false;
  }
  Slot& slot = file.slot(index);
  fresh_ = slot.use == Slot::Use::kFree;
  if (!fresh_ && slot.kind != kind) {
    error = ERROR_INVALID_HANDLE;
    return false;
  }
  if (!file.lockSlot(index)) {
    error = systemCode(errno);
    return false;
  }
  slot_ = index;
  state_ = slot.state;
  if (fresh_) {
    slot = {};
    slot.kind = kind;
    std::strcpy(slot.name, name);
    slot.use = Slot::Use::kUsed;
  }
  return true;
}

void NamedMemory::share() noexcept {
  if (file.isOpen()) file.leaveGate();
}

void NamedMemory::abandon() noexcept {
  isMappingRetained = isMappingRetained || slot_ >= 0;
  leave(Slot::Use::kRetired);
}

NamedMemory::~NamedMemory() {
  leave(Slot::Use::kFree);
}

/// `use` is what becomes of the slot if no other process has the object open.
void NamedMemory::leave(Slot::Use use) noexcept {
  if (!named_) return;
  named_ = false;
  if (file.isOpen() && file.isOurs() && file.enterGate()) {
    if (slot_ >= 0) {
      file.unlockSlot(slot_);
      if (file.isUnused(slot_)) file.slot(slot_).use = use;
    }
    file.leaveGate();
  }
  if (--openObjects == 0 && file.isOpen()) file.close(!isMappingRetained);
}

}  // namespace orla::posix
