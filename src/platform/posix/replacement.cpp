#include "platform/posix/replacement.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <mutex>
#include <string_view>
#include <sys/xattr.h>
#include <unistd.h>
#include <utility>

#include "platform/posix/descriptor.h"

namespace orla::posix {

namespace {

constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr mode_t kNewFile = 0666;
constexpr mode_t kUserOnly = 0600;

struct DeletedFile {
  std::size_t nameHash = 0;
  mode_t mode = 0;
  gid_t group = 0;
  bool isUsersOwn = false;
  bool hasAccessList = false;
  bool isNoted = false;
};

/// The files that the process deleted last and has not replaced. They are the whole process's,
/// because of several threads that replace one file, the one that deletes it need not be the one that
/// moves its own file there. If there are too many, the oldest note is lost.
class DeletedFiles {
 public:
  void note(const DeletedFile& file) noexcept {
    const std::lock_guard guard(lock_);
    DeletedFile* const same = find(file.nameHash);
    (same != nullptr ? *same : files_[next_++ % files_.size()]) = file;
  }
  void forget(std::size_t nameHash) noexcept {
    const std::lock_guard guard(lock_);
    if (DeletedFile* const found = find(nameHash)) *found = {};
  }
  /// Returns the note of the name, or one with isNoted unset.
  DeletedFile of(std::size_t nameHash) noexcept {
    const std::lock_guard guard(lock_);
    const DeletedFile* const found = find(nameHash);
    return found != nullptr ? *found : DeletedFile{};
  }

 private:
  DeletedFile* find(std::size_t nameHash) noexcept {
    for (DeletedFile& file : files_)
      if (file.isNoted && file.nameHash == nameHash) return &file;
    return nullptr;
  }

  std::mutex lock_;
  std::array<DeletedFile, 64> files_{};
  std::size_t next_ = 0;
};
constinit DeletedFiles deletedFiles;

constinit thread_local TemporaryFile noted;

std::size_t hashOf(const char* name) {
  return std::hash<std::string_view>{}(name);
}

constexpr char kAccessList[] = "system.posix_acl_access";

/// Gives the temporary file that replaces `old` the group of `old`, if possible. Returns the mode
/// that it must get.
mode_t modeOfReplacement(int descriptor, const struct ::stat& temporary, mode_t usualMode,
                         const DeletedFile& old) {
  const mode_t mode = old.isUsersOwn ? old.mode : old.mode & usualMode;
  const bool sameGroup =
      temporary.st_gid == old.group ||
      (old.isUsersOwn && ::fchown(descriptor, static_cast<uid_t>(-1), old.group) == 0);
  // With an access control list, the group's bits are those of every user in the list.
  const bool hasAccessList =
      old.hasAccessList || ::fgetxattr(descriptor, kAccessList, nullptr, 0) > 0;
  if (sameGroup && !hasAccessList) return mode;
  // Others than the old file's group may do no more than all users may. Their bits are 3 places
  // above those of all users.
  const mode_t othersAsGroup = (mode & S_IRWXO) << 3;
  return (mode & ~static_cast<mode_t>(S_IRWXG)) | (mode & othersAsGroup);
}

}  // namespace

int createExclusively(const char* path, mode_t mode) noexcept {
  const int created = ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (created < 0) return -1;
  const int descriptor = aboveStandardStreams(created);
  if (descriptor < 0) {
    const int error = errno;
    ::unlink(path);
    errno = error;
  }
  return descriptor;
}

bool createTemporaryFile(const char* path) noexcept {
  // The umask cannot be read without changing it for the other threads. So a first file is created
  // to find out what mode the kernel gives to it. That file is deleted and not written to, because
  // another user may have opened it already.
  struct ::stat status;
  int descriptor = createExclusively(path, kNewFile);
  if (descriptor < 0) return false;
  const bool known = ::fstat(descriptor, &status) == 0;
  ::close(descriptor);
  // In a directory that allows no deletion, each further attempt would leave one more file.
  if (::unlink(path) != 0 && errno != ENOENT) return false;
  const mode_t usualMode = known ? status.st_mode & kPermissions : kUserOnly;

  descriptor = createExclusively(path, kUserOnly);
  if (descriptor < 0) return false;
  ::fchmod(descriptor, kUserOnly);  // The umask may have removed the user's own permissions.
  noted = {};
  if (::fstat(descriptor, &status) == 0)
    noted = {status.st_dev, status.st_ino, status.st_uid, usualMode};
  ::close(descriptor);
  return true;
}

TemporaryFile notedTemporaryFile(const struct ::stat& status) noexcept {
  return noted.is(status) ? noted : TemporaryFile{};
}

void noteTemporaryFile(const TemporaryFile& file) noexcept {
  noted = file;
}

bool hasNotedTemporaryFile() noexcept {
  return noted.inode != 0;
}

bool hasAccessList(const char* name) noexcept {
  return ::getxattr(name, kAccessList, nullptr, 0) > 0;
}

void noteDeletedFile(const char* name, const struct ::stat& entry, const struct ::stat& file,
                     bool hasAccessList) noexcept {
  const uid_t user = ::geteuid();
  const bool isUsersOwn = entry.st_uid == user && file.st_uid == user;
  deletedFiles.note(
      {hashOf(name), file.st_mode & kPermissions, file.st_gid, isUsersOwn, hasAccessList, true});
}

void forgetDeletedFile(const char* name) noexcept {
  deletedFiles.forget(hashOf(name));
}

void finishTemporaryFile(const char* from, const char* to) noexcept {
  const TemporaryFile temporary = std::exchange(noted, {});
  if (temporary.inode == 0) return;
  const int descriptor =
      aboveStandardStreams(::open(from, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (descriptor < 0) return;
  struct ::stat status;
  if (::fstat(descriptor, &status) == 0 && temporary.is(status)) {
    const DeletedFile deleted = deletedFiles.of(hashOf(to));
    ::fchmod(descriptor, deleted.isNoted
                             ? modeOfReplacement(descriptor, status, temporary.usualMode, deleted)
                             : temporary.usualMode);
  }
  ::close(descriptor);
}

}  // namespace orla::posix
