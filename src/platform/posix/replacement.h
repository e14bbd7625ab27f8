// The permissions of a file that replaces another one.
//
// The library replaces a file by a sequence of calls: GetTempFileNameA, CreateFileA, WriteFile,
// CloseHandle, DeleteFileA for the old file, MoveFileA. The new file is readable and writable by
// the user alone until MoveFileA gives it its final mode. No call of the sequence knows both files,
// so the calling thread notes its temporary file, and the process notes the deleted files, from one
// call to the next.
//
// A temporary file is recognized by its device and inode, never by its name: where other users can
// write to the directory, they can exchange the file that has the name.
#pragma once

#include <cstddef>
#include <sys/stat.h>

namespace orla::posix {

/// A file that GetTempFileNameA created.
struct TemporaryFile {
  dev_t device = 0;
  ino_t inode = 0;  // 0 if there is no file.
  /// The owner that the file system gave to it, which is not the user on some network file systems.
  uid_t owner = 0;
  /// The mode that the kernel gives to a new file of mode 0666 in the same directory, by the umask
  /// or by the directory's default access control list.
  mode_t usualMode = 0;

  bool is(const struct ::stat& status) const noexcept {
    return inode != 0 && status.st_ino == inode && status.st_dev == device &&
           status.st_uid == owner;
  }
};

/// Creates an empty file, which must not exist yet. On failure returns -1 with errno and leaves
/// nothing behind.
int createExclusively(const char* path, mode_t mode) noexcept;

/// Creates and closes a temporary file of mode 0600, whatever the umask is, and notes it for the
/// calling thread. Returns false with errno, and leaves nothing behind, if it cannot be created.
bool createTemporaryFile(const char* path) noexcept;

/// Returns the file that the calling thread noted last if `status` is the status of that file.
/// Otherwise returns a TemporaryFile with an inode of 0.
TemporaryFile notedTemporaryFile(const struct ::stat& status) noexcept;

/// Notes a temporary file that the calling thread has closed and may move now.
void noteTemporaryFile(const TemporaryFile& file) noexcept;

/// Returns true if the calling thread has noted a temporary file that it has not moved.
bool hasNotedTemporaryFile() noexcept;

/// Returns true if the file has an access control list in addition to its permission bits.
bool hasAccessList(const char* name) noexcept;

/// Notes for the whole process that `name` was deleted. `entry` is the status of the directory entry,
/// and `file` and `hasAccessList` describe the file. They differ if the entry was a symbolic link to
/// the file.
void noteDeletedFile(const char* name, const struct ::stat& entry, const struct ::stat& file,
                     bool hasAccessList) noexcept;

/// Forgets that `name` was deleted, because a file was moved there.
void forgetDeletedFile(const char* name) noexcept;

/// Gives `from` its final mode if it is the calling thread's temporary file, and forgets the
/// temporary file. The mode is the usual one or, if the process deleted the file `to`, that file's
/// permission bits, without the set-user-ID, set-group-ID and sticky bits. It never allows more
/// than the old file did:
/// - An old file of another user can only take permissions away from the usual mode.
/// - The new file gets the old file's group, if both belong to the user. If it has another group, or
///   if either file has an access control list, the group and the users of the list are allowed no
///   more than all users were.
///
/// A mode that cannot be set stays 0600.
void finishTemporaryFile(const char* from, const char* to) noexcept;

}  // namespace orla::posix
