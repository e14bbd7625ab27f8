#include "platform/posix/named_memory.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/descriptor.h"
#include "platform/posix/last_error.h"

namespace orla::posix {

struct NamedMemory::Layout {
  static constexpr std::uint32_t kVersion = 1;

  std::uint32_t version;
  Object::Kind kind;
  char name[kLongestName + 1];
  alignas(std::max_align_t) unsigned char state[kStateSize];
};

namespace {

enum Byte : off_t { kUsers = 0, kGate = 1 };

/// Takes, converts or drops (F_UNLCK) the lock of one byte. False when `wait` is not set and
/// another holds it.
bool lockByte(int descriptor, Byte byte, short type, bool wait) {
  struct ::flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = 1;
  int result;
  do {
    result = ::fcntl(descriptor, wait ? F_OFD_SETLKW : F_OFD_SETLK, &lock);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

/// The name of the file: letters, digits and a few signs stand for themselves, other bytes as %XX.
/// A long name is cut and ends in its hash; the whole one in the file settles a clash.
void encodePath(std::string_view name, char* path, std::size_t size) {
  constexpr std::size_t kLongestReadable = 200;
  auto length = static_cast<std::size_t>(std::snprintf(path, size, "/orla.%u.", ::geteuid()));
  std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
  bool cut = false;
  for (const char character : name) {
    const auto byte = static_cast<unsigned char>(character);
    hash = (hash ^ byte) * 0x100000001B3;
    const bool plain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                       (byte >= '0' && byte <= '9') || byte == '.' || byte == '@' || byte == '-';
    cut = cut || length > kLongestReadable;
    if (!cut)
      length += static_cast<std::size_t>(
          std::snprintf(path + length, size - length, plain ? "%c" : "%%%02X", byte));
  }
  if (cut)
    std::snprintf(path + length, size - length, "_%016llx", static_cast<unsigned long long>(hash));
}

/// Opens the file; -1 with errno. A file of another user's making is refused.
int openFile(const char* path, int flags) {
  const int descriptor = aboveStandardStreams(::shm_open(path, O_RDWR | flags, 0600));
  struct ::stat status;
  if (descriptor < 0 || (::fstat(descriptor, &status) == 0 && status.st_uid == ::geteuid()))
    return descriptor;
  ::close(descriptor);
  errno = EACCES;
  return -1;
}

/// Maps the file through an opening of its own: a mapping keeps what it was made from open, and
/// the locks with it. MAP_FAILED with errno.
void* mapFile(const char* path, std::size_t size) {
  const int descriptor = openFile(path, 0);
  if (descriptor < 0) return MAP_FAILED;
  void* const mapping = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  const int error = errno;
  ::close(descriptor);
  errno = error;
  return mapping;
}

struct FileState {
  bool named;  // Its last user may have removed it since it was opened.
  bool empty;
};

FileState stateOf(int descriptor) {
  struct ::stat status;
  if (::fstat(descriptor, &status) != 0) return {false, true};
  return {status.st_nlink > 0, status.st_size == 0};
}

}  // namespace

std::unique_ptr<NamedMemory> NamedMemory::enter(const char* name, Object::Kind kind, DWORD& error) {
  if (std::strlen(name) > kLongestName) {
    error = ERROR_FILENAME_EXCED_RANGE;
    return nullptr;
  }
  std::unique_ptr<NamedMemory> memory(new NamedMemory);
  encodePath(name, memory->path_, sizeof memory->path_);
  int& descriptor = memory->descriptor_;
  for (;;) {
    descriptor = openFile(memory->path_, O_CREAT);
    if (descriptor < 0 || !lockByte(descriptor, kGate, F_WRLCK, true)) {
      error = systemCode(errno);
      return nullptr;
    }
    const FileState file = stateOf(descriptor);
    memory->fresh_ = file.named && lockByte(descriptor, kUsers, F_WRLCK, false);
    if (file.named && (file.empty || !memory->fresh_)) break;
    // What killed users left makes room for a new file: a mapping of it may outlive its locks.
    if (memory->fresh_) ::shm_unlink(memory->path_);
    ::close(descriptor);
  }
  // The memory is allocated now: a full file system fails here, not at an access later.
  const int sizeError = memory->fresh_ ? ::posix_fallocate(descriptor, 0, sizeof(Layout)) : 0;
  void* const mapping = sizeError == 0 ? mapFile(memory->path_, sizeof(Layout)) : MAP_FAILED;
  if (mapping == MAP_FAILED) {
    error = systemCode(sizeError != 0 ? sizeError : errno);
    return nullptr;
  }
  Layout* const layout = memory->layout_ = static_cast<Layout*>(mapping);
  if (memory->fresh_) {
    layout->version = Layout::kVersion;
    layout->kind = kind;
    std::memcpy(layout->name, name, std::strlen(name) + 1);
  } else if (layout->version != Layout::kVersion || layout->kind != kind ||
             std::strcmp(layout->name, name) != 0) {
    error = ERROR_INVALID_HANDLE;
    return nullptr;
  }
  return memory;
}

void* NamedMemory::state() const noexcept {
  return layout_->state;
}

void NamedMemory::share() noexcept {
  lockByte(descriptor_, kUsers, F_RDLCK, true);
  lockByte(descriptor_, kGate, F_UNLCK, true);
}

void NamedMemory::leave() noexcept {
  if (descriptor_ < 0) return;
  ::close(descriptor_);
  // Asked through a file opened anew: a forked child may still hold the lock of the closed one.
  descriptor_ = openFile(path_, 0);
  if (descriptor_ < 0) return;
  if (lockByte(descriptor_, kGate, F_WRLCK, true) && stateOf(descriptor_).named &&
      lockByte(descriptor_, kUsers, F_WRLCK, false))
    ::shm_unlink(path_);
  ::close(descriptor_);
  descriptor_ = -1;
}

NamedMemory::~NamedMemory() {
  leave();
  if (layout_ != nullptr) ::munmap(layout_, sizeof(Layout));
}

}  // namespace orla::posix
