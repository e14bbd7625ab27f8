#include "platform/posix/named_memory.h"

#include <cerrno>
#include <cstring>

#include "platform/posix/last_error.h"

namespace orla::posix {

namespace {

using Slot = SharedFile::Slot;

/// It is open while this process has a named object open.
constinit SharedFile file;
constinit int openObjects = 0;

/// Returns the index of the slot that has `name`, or else that of a free slot, or else -1.
int findSlot(const char* name) noexcept {
  int free = -1;
  for (int index = SharedFile::kSlots - 1; index >= 0; --index) {
    Slot& slot = file.slot(index);
    if (slot.use == Slot::Use::kFree) free = index;
    if (slot.use != Slot::Use::kUsed || std::strncmp(slot.name, name, sizeof slot.name) != 0)
      continue;
    if (!file.isLeft(index)) return index;
    slot.use = file.isOwn(index) ? Slot::Use::kFree : Slot::Use::kLeft;
    if (slot.use == Slot::Use::kFree) free = index;
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
  memory->isEntered_ = true;
  memory->isInGate_ = isShared;
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
  isFresh_ = slot.use != Slot::Use::kUsed;
  if (!isFresh_ && slot.kind != kind) {
    error = ERROR_INVALID_HANDLE;
    return false;
  }
  if (!file.openSlot(index)) {
    error = win32Code(errno);
    return false;
  }
  slot_ = index;
  state_ = slot.state;
  if (isFresh_) {
    slot = {};
    slot.kind = kind;
    std::strcpy(slot.name, name);
    slot.use = Slot::Use::kUsed;
  }
  return true;
}

void NamedMemory::share() noexcept {
  if (isInGate_) file.leaveGate();
  isInGate_ = false;
}

void NamedMemory::abandon() noexcept {
  if (slot_ >= 0) file.retainSlot(slot_);
  leave();
}

NamedMemory::~NamedMemory() {
  leave();
}

void NamedMemory::leave() noexcept {
  if (!isEntered_) return;
  isEntered_ = false;
  share();
  if (--openObjects == 0 && file.isOpen()) file.close();
}

}  // namespace orla::posix
