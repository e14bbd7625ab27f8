#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/posix/descriptor.h"
#include "platform/posix/last_error.h"
#include "platform/posix/object.h"
#include "platform/posix/replacement.h"

namespace orla {

namespace {

using posix::fail;
using posix::win32Code;

class File final : public posix::Object {
 public:
  static constexpr Kind kKind = Kind::kFile;

  /// Owns the descriptor. `temporary` has an inode of 0 if this is not a temporary file.
  File(int descriptor, const posix::TemporaryFile& temporary) noexcept
      : Object(kKind), descriptor_(descriptor), temporary_(temporary) {}

  DWORD close() noexcept override {
    // The descriptor is closed in any case. A network file system may report only now that it lost
    // written bytes. If a signal interrupts the call, no bytes are lost.
    const int error = ::close(descriptor_) == 0 || errno == EINTR ? 0 : errno;
    if (temporary_.inode != 0) posix::noteTemporaryFile(temporary_);
    delete this;
    return error == EIO ? ERROR_WRITE_FAULT : win32Code(error);
  }

  int descriptor() const noexcept { return descriptor_; }

 private:
  const int descriptor_;
  const posix::TemporaryFile temporary_;
};

bool isDirectory(const char* path) {
  struct ::stat status;
  return ::stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

/// Returns true if the directory that contains `path` exists.
bool parentExists(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return !path.empty();
  char directory[PATH_MAX];
  const std::size_t length = slash == 0 ? 1 : slash;
  if (length >= sizeof directory) return false;
  directory[path.copy(directory, length)] = '\0';
  return isDirectory(directory);
}

/// Returns the last error for a call on `path` that failed with `error`. ENOENT means that the file
/// or a directory in the path is missing, which have different codes.
DWORD pathCode(int error, const char* path) {
  return error == ENOENT && !parentExists(path) ? ERROR_PATH_NOT_FOUND : win32Code(error);
}

/// Returns the flags of open(), or -1 for a combination that Windows refuses.
int openFlags(DWORD access, DWORD disposition) {
  const bool writes = (access & GENERIC_WRITE) != 0;
  const int mode = !writes ? O_RDONLY : (access & GENERIC_READ) != 0 ? O_RDWR : O_WRONLY;
  const int flags = mode | O_CLOEXEC | O_NOCTTY;
  switch (disposition) {
    case CREATE_ALWAYS:
      return flags | O_CREAT | O_TRUNC;
    case OPEN_EXISTING:
      // Another user who can write to the directory may have replaced the file by a link.
      return writes ? flags | O_NOFOLLOW : flags;
    case OPEN_ALWAYS:
      return flags | O_CREAT;
    case TRUNCATE_EXISTING:
      return writes ? flags | O_TRUNC : -1;
    default:
      return -1;
  }
}

/// Returns true if the file's size is the number of bytes that can be read from it. Files of /proc
/// and of other file systems without a disk report size 0 and have content.
bool hasTrueSize(int descriptor, struct ::stat& status) {
  char byte;
  if (status.st_size != 0 || ::pread(descriptor, &byte, 1, 0) == 0) return true;
  return ::fstat(descriptor, &status) == 0 && status.st_size != 0;  // It has just grown.
}

/// Returns true if CreateFileA may return a handle to the file that open() opened with `flags`.
bool isAcceptable(int descriptor, int flags, struct ::stat& status) {
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  const bool userHasItAlone = status.st_uid == ::geteuid() && status.st_nlink == 1;
  // A thread that has just created a temporary file opens that one and no other.
  const bool isTemporary = posix::notedTemporaryFile(status).inode != 0;
  const bool mayBeOther = userHasItAlone && !posix::hasNotedTemporaryFile();
  if ((flags & O_NOFOLLOW) != 0 && !isTemporary && !mayBeOther) return false;
  return (flags & O_ACCMODE) == O_WRONLY || hasTrueSize(descriptor, status);
}

/// Opens a regular file. Returns its descriptor and sets `status`, or returns -1 with errno, which
/// is EACCES for a file that is not acceptable.
int openRegularFile(const char* name, int flags, mode_t mode, struct ::stat& status) {
  // Without O_NONBLOCK, opening a FIFO waits until another process opens it. With O_NONBLOCK,
  // opening a regular file fails with EAGAIN while another process holds a lease on it. That
  // process releases the lease soon, so the file is then opened without O_NONBLOCK.
  int nonBlocking = O_NONBLOCK;
  int descriptor;
  do {
    descriptor = posix::aboveStandardStreams(::open(name, flags | nonBlocking, mode));
  } while (descriptor < 0 &&
           (errno == EINTR || (errno == EAGAIN && std::exchange(nonBlocking, 0) != 0)));
  if (descriptor < 0) {
    // The file is a FIFO or a socket, or a symbolic link that must not be followed.
    if (errno == ENXIO || (errno == ELOOP && (flags & O_NOFOLLOW) != 0)) errno = EACCES;
  } else if (!isAcceptable(descriptor, flags, status)) {
    ::close(descriptor);
    errno = EACCES;
    descriptor = -1;
  } else {
    // Some file systems in user space apply O_NONBLOCK to regular files, so it is removed again.
    ::fcntl(descriptor, F_SETFL, 0);
  }
  return descriptor;
}

/// Returns the number, from 1 to 0xFFFF, with which the search for an unused temporary name begins.
/// It differs between calls and between processes in most cases, so that the first name is usually
/// unused.
UINT firstTemporaryNumber() {
  static std::atomic<UINT> calls{0};
  const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
  const UINT mixed = static_cast<UINT>(now >> 10) + static_cast<UINT>(::getpid()) * 0x9E37U +
                     calls.fetch_add(1, std::memory_order_relaxed) * 0x3D1BU;
  return mixed % 0xFFFF + 1;
}

/// Deletes the target of a move whose second step failed. Returns `error`, which is the errno of
/// that step.
int removeTarget(const char* to, int error) {
  ::unlink(to);
  return error;
}

/// Returns true if `error` means that the file system or a sandbox does not support a call.
bool isUnsupported(int error) {
  return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == EPERM;
}

/// Renames a file and never replaces another one. Returns 0 or an errno.
int moveWithoutReplacing(const char* from, const char* to) {
  if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
  if (!isUnsupported(errno)) return errno;
  // link() does not replace a file either.
  if (::link(from, to) == 0) return ::unlink(from) == 0 ? 0 : removeTarget(to, errno);
  if (!isUnsupported(errno)) return errno;
  // Creating an empty file reserves the name: it fails if there is a file, and only the empty file
  // is replaced.
  const int claim = posix::createExclusively(to, 0600);
  if (claim < 0) return errno;
  ::close(claim);
  return ::rename(from, to) == 0 ? 0 : removeTarget(to, errno);
}

}  // namespace

HANDLE CreateFileA(const char* name, DWORD access, DWORD, SECURITY_ATTRIBUTES*, DWORD disposition,
                   DWORD flags, HANDLE) noexcept {
  DWORD error = ERROR_INVALID_PARAMETER;
  const int openingFlags = openFlags(access, disposition);
  if (openingFlags >= 0) {
    const mode_t mode = (flags & FILE_ATTRIBUTE_READONLY) != 0 ? 0444 : 0666;
    struct ::stat status;
    const int descriptor = openRegularFile(name, openingFlags, mode, status);
    if (descriptor < 0) {
      error = pathCode(errno, name);
    } else if (auto* file =
                   new (std::nothrow) File(descriptor, posix::notedTemporaryFile(status))) {
      return file;
    } else {
      ::close(descriptor);
      error = ERROR_NOT_ENOUGH_MEMORY;
    }
  }
  SetLastError(error);
  return INVALID_HANDLE_VALUE;
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD size, DWORD* got, OVERLAPPED*) noexcept {
  *got = 0;
  const auto* file = posix::objectOf<File>(handle);
  if (file == nullptr) return FALSE;
  ssize_t count;
  do {
    count = ::read(file->descriptor(), buffer, size);
  } while (count < 0 && errno == EINTR);
  if (count < 0) return fail(errno == EIO ? ERROR_READ_FAULT : win32Code(errno));
  *got = static_cast<DWORD>(count);
  return TRUE;
}

BOOL WriteFile(HANDLE handle, const void* buffer, DWORD size, DWORD* written,
               OVERLAPPED*) noexcept {
  *written = 0;
  auto* file = posix::objectOf<File>(handle);
  if (file == nullptr) return FALSE;
  const char* bytes = static_cast<const char*>(buffer);
  // Calls write() even for 0 bytes, because it then fails if the file is not open for writing.
  do {
    const ssize_t count = ::write(file->descriptor(), bytes + *written, size - *written);
    if (count >= 0) {
      *written += static_cast<DWORD>(count);
    } else if (errno != EINTR) {
      return fail(errno == EIO ? ERROR_WRITE_FAULT : win32Code(errno));
    }
  } while (*written < size);
  return TRUE;
}

BOOL FlushFileBuffers(HANDLE handle) noexcept {
  const auto* file = posix::objectOf<File>(handle);
  if (file == nullptr) return FALSE;
  while (::fdatasync(file->descriptor()) != 0) {
    if (errno == EIO) return fail(ERROR_WRITE_FAULT);
    if (errno == ENOSPC || errno == EDQUOT) return fail(ERROR_DISK_FULL);
    if (errno != EINTR) break;  // The file system or a sandbox does not support the call.
  }
  return TRUE;
}

DWORD GetFileSize(HANDLE handle, DWORD* high) noexcept {
  const auto* file = posix::objectOf<File>(handle);
  if (file == nullptr) return INVALID_FILE_SIZE;
  struct ::stat status;
  if (::fstat(file->descriptor(), &status) != 0) {
    SetLastError(win32Code(errno));
    return INVALID_FILE_SIZE;
  }
  const auto size = static_cast<std::uint64_t>(status.st_size);
  const auto low = static_cast<DWORD>(size);
  if (high != nullptr) *high = static_cast<DWORD>(size >> 32);
  // This low half also means failure. The caller distinguishes the two by the last error.
  if (low == INVALID_FILE_SIZE) SetLastError(ERROR_SUCCESS);
  return low;
}

DWORD GetFileAttributesA(const char* name) noexcept {
  struct ::stat status;
  if (::stat(name, &status) != 0) {
    SetLastError(pathCode(errno, name));
    return INVALID_FILE_ATTRIBUTES;
  }
  const DWORD readOnly =
      ::faccessat(AT_FDCWD, name, W_OK, AT_EACCESS) == 0 ? 0 : FILE_ATTRIBUTE_READONLY;
  if (S_ISDIR(status.st_mode)) return FILE_ATTRIBUTE_DIRECTORY | readOnly;
  return readOnly != 0 ? readOnly : FILE_ATTRIBUTE_NORMAL;
}

UINT GetTempFileNameA(const char* directory, const char* prefix, UINT unique, char* path) noexcept {
  if (unique != 0) return static_cast<UINT>(fail(ERROR_INVALID_PARAMETER));
  if (!isDirectory(directory)) return static_cast<UINT>(fail(ERROR_DIRECTORY));
  const std::size_t length = std::strlen(directory);
  std::memcpy(path, directory, length + 1);
  char* name = path + length;
  if (length == 0 || name[-1] != '/') *name++ = '/';
  UINT number = firstTemporaryNumber();
  for (UINT tried = 0; tried < 0xFFFF; ++tried) {
    // The separator and the name have at most 1 + 3 + 4 + 4 characters, and `path` has room for 16.
    std::snprintf(name, 15, "%.3s%X.tmp", prefix, number);
    if (posix::createTemporaryFile(path)) return number;
    if (errno != EEXIST && errno != EINTR) return static_cast<UINT>(fail(win32Code(errno)));
    number = number % 0xFFFF + 1;
  }
  return static_cast<UINT>(fail(ERROR_FILE_EXISTS));
}

BOOL MoveFileA(const char* from, const char* to) noexcept {
  posix::finishTemporaryFile(from, to);
  const int error = moveWithoutReplacing(from, to);
  if (error == 0) {
    posix::forgetDeletedFile(to);
    return TRUE;
  }
  struct ::stat status;
  const bool sourceExists = ::lstat(from, &status) == 0;
  return fail(pathCode(error, sourceExists ? to : from));
}

BOOL DeleteFileA(const char* name) noexcept {
  struct ::stat entry, file;
  if (::lstat(name, &entry) != 0) return fail(pathCode(errno, name));
  const int statError = ::stat(name, &file) == 0 ? 0 : errno;
  // A link to a file that does not exist may be deleted, because no data is lost with it.
  const bool dangling = statError == ENOENT;
  if (!dangling && (statError != 0 || !S_ISREG(file.st_mode))) return fail(ERROR_ACCESS_DENIED);
  const bool hasAccessList = !dangling && posix::hasAccessList(name);
  if (::unlink(name) != 0) return fail(pathCode(errno, name));
  if (!dangling) posix::noteDeletedFile(name, entry, file, hasAccessList);
  return TRUE;
}

BOOL CloseHandle(HANDLE handle) noexcept {
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return fail(ERROR_INVALID_HANDLE);
  const DWORD error = static_cast<posix::Object*>(handle)->close();
  return error == ERROR_SUCCESS ? TRUE : fail(error);
}

}  // namespace orla
