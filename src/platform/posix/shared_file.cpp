#include "platform/posix/shared_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/posix/descriptor.h"

namespace orla::posix {

struct SharedFile::Layout {
  static constexpr std::uint32_t kVersion = 3;

  std::uint32_t version;
  Slot slots[kSlots];
};

namespace {

constexpr ::off_t kGate = 0;
constexpr ::off_t kUsers = 1;
constexpr ::off_t kFirstSlot = 2;

enum class Lock { kTaken, kHeldElsewhere, kFailed };

/// Takes, converts or drops (F_UNLCK) the lock of one byte. `command` is F_OFD_SETLK or, to wait,
/// F_OFD_SETLKW.
Lock lockByte(int descriptor, ::off_t byte, short type, int command) {
  struct ::flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = 1;
  int result;
  do {
    result = ::fcntl(descriptor, command, &lock);
  } while (result != 0 && errno == EINTR);
  if (result == 0) return Lock::kTaken;
  return errno == EAGAIN || errno == EACCES ? Lock::kHeldElsewhere : Lock::kFailed;
}

bool isPrivateDirectory(const char* directory) {
  struct ::stat status;
  return ::lstat(directory, &status) == 0 && S_ISDIR(status.st_mode) &&
         status.st_uid == ::geteuid() && (status.st_mode & 077) == 0;
}

/// Creates root's directory unless it exists. Returns true if only root can use it. No other user
/// can create a directory in /run.
bool makeRootsDirectory(const char* directory) {
  // The umask may have removed root's own permissions, which root needs if it has no capabilities.
  if (::mkdir(directory, 0700) == 0 && ::chmod(directory, 0700) != 0) return false;
  return isPrivateDirectory(directory);
}

/// Writes the path of the user's file. Returns false if the PID namespace is unknown.
bool makePath(char* path, std::size_t size) {
  struct ::stat space;
  if (::stat("/proc/self/ns/pid", &space) != 0) return false;
  const ::uid_t user = ::geteuid();
  char directory[64];
  bool isSafe;
  if (user == 0) {
    std::strcpy(directory, "/run/orla");
    isSafe = makeRootsDirectory(directory);
  } else {
    std::snprintf(directory, sizeof directory, "/run/user/%u", user);
    isSafe = isPrivateDirectory(directory);
  }
  std::snprintf(path, size, "%s/orla.%u.%llu", isSafe ? directory : "/dev/shm", user,
                static_cast<unsigned long long>(space.st_ino));
  return true;
}

/// Opens the user's file. Returns -1 on failure, and if another user may have created the file.
int openFile(const char* path, int flags) {
  const int descriptor = aboveStandardStreams(
      ::open(path, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | flags, 0600));
  if (descriptor < 0) return -1;
  struct ::stat status;
  // The umask of the process that created the file may have removed the user's own permissions.
  if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
      status.st_uid == ::geteuid() && status.st_nlink <= 1 &&
      ((status.st_mode & 0777) == 0600 || ::fchmod(descriptor, 0600) == 0))
    return descriptor;
  ::close(descriptor);
  errno = EEXIST;
  return -1;
}

/// Deletes the user's own file if its mode does not let the user open it, because a process with a
/// strict umask was killed after it had created the file. Returns true if the file was deleted.
bool removeLockedFile(const char* path) {
  struct ::stat status;
  return ::lstat(path, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
         (status.st_mode & 0600) != 0600 && ::unlink(path) == 0;
}

/// Allocates the file's memory, so that a full file system fails here and not at a later access.
bool allocate(int descriptor, std::size_t size) {
  // SIGXFSZ would kill the process if it exceeded its limit.
  struct ::rlimit limit;
  if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur < size) return false;
  int error;
  do {
    error = ::posix_fallocate(descriptor, 0, static_cast<::off_t>(size));
  } while (error == EINTR);
  return error == 0;
}

}  // namespace

bool SharedFile::open() noexcept {
  if (!makePath(path_, sizeof path_)) return false;
  // An attempt is repeated only if this process, or another one that closed the file, deleted it.
  constexpr int kMaxAttempts = 1000;
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    const Attempt result = tryOpen();
    if (result != Attempt::kRepeat) return result == Attempt::kDone;
  }
  return false;
}

SharedFile::Attempt SharedFile::tryOpen() noexcept {
  descriptor_ = openFile(path_, O_CREAT);
  if (descriptor_ < 0)
    return errno == EACCES && removeLockedFile(path_) ? Attempt::kRepeat : Attempt::kFailed;
  Attempt result = Attempt::kFailed;
  struct ::stat status;
  if (enterGate() && ::fstat(descriptor_, &status) == 0) {
    const Lock users = lockByte(descriptor_, kUsers, F_WRLCK, F_OFD_SETLK);
    const bool isAlone = users == Lock::kTaken;
    if (status.st_nlink == 0) {
      result = Attempt::kRepeat;  // Its last user deleted it after this process opened it.
    } else if (isAlone && status.st_size != 0) {
      // Killed processes left it.
      result = ::unlink(path_) == 0 ? Attempt::kRepeat : Attempt::kFailed;
    } else if (users != Lock::kFailed && map(isAlone)) {
      if (hasFreeSlots()) return Attempt::kDone;
      ::munmap(std::exchange(layout_, nullptr), sizeof(Layout));
      result = ::unlink(path_) == 0 ? Attempt::kRepeat : Attempt::kFailed;
    } else if (isAlone) {
      ::unlink(path_);
    }
  }
  closeUnlocked();
  return result;
}

/// Maps the file and counts this process as a user. Opens the file a second time for the mapping,
/// because a mapping keeps its open file description and that description's locks, even after the
/// descriptor is closed.
bool SharedFile::map(bool isFresh) noexcept {
  if (isFresh && !allocate(descriptor_, sizeof(Layout))) return false;
  struct ::stat locked;
  struct ::stat mapped;
  const int descriptor = openFile(path_, 0);
  if (descriptor < 0) return false;
  void* mapping = MAP_FAILED;
  if (::fstat(descriptor_, &locked) == 0 && ::fstat(descriptor, &mapped) == 0 &&
      locked.st_dev == mapped.st_dev && locked.st_ino == mapped.st_ino &&
      locked.st_size == sizeof(Layout))
    mapping = ::mmap(nullptr, sizeof(Layout), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  ::close(descriptor);
  if (mapping == MAP_FAILED) return false;
  auto* const layout = static_cast<Layout*>(mapping);
  if (isFresh) layout->version = Layout::kVersion;
  if (layout->version != Layout::kVersion ||
      lockByte(descriptor_, kUsers, F_RDLCK, F_OFD_SETLK) != Lock::kTaken) {
    ::munmap(mapping, sizeof(Layout));
    return false;
  }
  layout_ = layout;
  process_ = ::getpid();
  device_ = locked.st_dev;
  inode_ = locked.st_ino;
  return true;
}

bool SharedFile::isOurs() const noexcept {
  if (descriptor_ < 0 || process_ != ::getpid()) return false;
  struct ::stat status;
  if (::fstat(descriptor_, &status) != 0) return errno != EBADF;
  return status.st_dev == device_ && status.st_ino == inode_;
}

void SharedFile::close() noexcept {
  if (isOurs()) {
    ::close(descriptor_);
    // Through a file opened anew: a forked child may still hold the locks of the closed one.
    descriptor_ = openFile(path_, 0);
    if (isOurs() && enterGate() &&
        lockByte(descriptor_, kUsers, F_WRLCK, F_OFD_SETLK) == Lock::kTaken)
      ::unlink(path_);
    closeUnlocked();
  }
  descriptor_ = -1;
  if (!isMappingRetained_) ::munmap(layout_, sizeof(Layout));
  layout_ = nullptr;
  own_.fill(false);
}

/// Closes the descriptor. Drops its locks first, because a child that another thread has just forked
/// would keep them.
void SharedFile::closeUnlocked() noexcept {
  if (descriptor_ < 0) return;
  lockByte(descriptor_, kUsers, F_UNLCK, F_OFD_SETLK);
  leaveGate();
  ::close(descriptor_);
  descriptor_ = -1;
}

bool SharedFile::hasFreeSlots() const noexcept {
  const auto isFree = [](const Slot& slot) { return slot.use == Slot::Use::kFree; };
  return std::count_if(layout_->slots, layout_->slots + kSlots, isFree) >= kMinFreeSlots;
}

bool SharedFile::enterGate() noexcept {
  return lockByte(descriptor_, kGate, F_WRLCK, F_OFD_SETLKW) == Lock::kTaken;
}

void SharedFile::leaveGate() noexcept {
  lockByte(descriptor_, kGate, F_UNLCK, F_OFD_SETLK);
}

SharedFile::Slot& SharedFile::slot(int index) noexcept {
  return layout_->slots[index];
}

bool SharedFile::openSlot(int index) noexcept {
  if (lockByte(descriptor_, kFirstSlot + index, F_RDLCK, F_OFD_SETLK) != Lock::kTaken) return false;
  own_[static_cast<std::size_t>(index)] = true;
  return true;
}

void SharedFile::retainSlot(int index) noexcept {
  isMappingRetained_ = true;
  own_[static_cast<std::size_t>(index)] = false;
}

bool SharedFile::isLeft(int index) noexcept {
  const ::off_t byte = kFirstSlot + index;
  if (lockByte(descriptor_, byte, F_WRLCK, F_OFD_SETLK) != Lock::kTaken) return false;
  lockByte(descriptor_, byte, F_UNLCK, F_OFD_SETLK);
  return true;
}

}  // namespace orla::posix
