#include "platform/posix/replacement.h"

#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <string_view>
#include <unistd.h>

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
  bool isNoted = false;
};

struct Notes {
  TemporaryFile temporary;
  DeletedFile deleted;
};
// Hashes instead of names keep it small: it takes room from the stack of every thread.
constinit thread_local Notes notes;

std::size_t hashOf(const char* name) {
  return std::hash<std::string_view>{}(name);
}

/// Gives the temporary file that replaces `old` the group of `old`, if possible. Returns the mode
/// that it must get.
mode_t modeOfReplacement(int descriptor, const struct ::stat& temporary, mode_t usualMode,
                         const DeletedFile& old) {
  const mode_t mode = old.isUsersOwn ? old.mode : old.mode & usualMode;
  const bool sameGroup =
      temporary.st_gid == old.group ||
      (old.isUsersOwn && ::fchown(descriptor, static_cast<uid_t>(-1), old.group) == 0);
  if (sameGroup) return mode;
  // Another group may do no more than all users may. Its bits are 3 places above those of all
  // users.
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
  ::unlink(path);
  const mode_t usualMode = known ? status.st_mode & kPermissions : kUserOnly;

  descriptor = createExclusively(path, kUserOnly);
  if (descriptor < 0) return false;
  ::fchmod(descriptor, kUserOnly);  // The umask may have removed the user's own permissions.
  notes.temporary = {};
  if (::fstat(descriptor, &status) == 0)
    notes.temporary = {status.st_dev, status.st_ino, status.st_uid, usualMode};
  ::close(descriptor);
  return true;
}

TemporaryFile notedTemporaryFile(const struct ::stat& status) noexcept {
  return notes.temporary.is(status) ? notes.temporary : TemporaryFile{};
}

void noteTemporaryFile(const TemporaryFile& file) noexcept {
  notes.temporary = file;
}

void noteDeletedFile(const char* name, const struct ::stat& entry,
                     const struct ::stat& file) noexcept {
  const uid_t user = ::geteuid();
  const bool isUsersOwn = entry.st_uid == user && file.st_uid == user;
  notes.deleted = {hashOf(name), file.st_mode & kPermissions, file.st_gid, isUsersOwn, true};
}

void forgetDeletedFile() noexcept {
  notes.deleted = {};
}

void finishTemporaryFile(const char* from, const char* to) noexcept {
  const auto [temporary, deleted] = notes;
  notes = {};
  if (temporary.inode == 0) return;
  const int descriptor =
      aboveStandardStreams(::open(from, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (descriptor < 0) return;
  struct ::stat status;
  if (::fstat(descriptor, &status) == 0 && temporary.is(status)) {
    const bool replaces = deleted.isNoted && deleted.nameHash == hashOf(to);
    ::fchmod(descriptor, replaces
                             ? modeOfReplacement(descriptor, status, temporary.usualMode, deleted)
                             : temporary.usualMode);
  }
  ::close(descriptor);
}

}  // namespace orla::posix
