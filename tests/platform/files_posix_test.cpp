#include "PlatformTest.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

#include "ChildProcess.h"
#include "support/TempDir.h"

namespace orla {

static constexpr uid_t kOtherUser = 65534;

static DWORD codeOfCall(BOOL result) {
  return result ? ERROR_SUCCESS : GetLastError();
}

/// The code of opening a file and closing it again.
static DWORD codeOfOpening(const std::string& path, DWORD access) {
  const HANDLE file = openExisting(path, access);
  return codeOfCall(file != INVALID_HANDLE_VALUE && CloseHandle(file));
}

static DWORD codeOfDeleting(const std::string& path) {
  return codeOfCall(DeleteFileA(path.c_str()));
}

static DWORD codeOfMoving(const std::string& from, const std::string& to) {
  return codeOfCall(MoveFileA(from.c_str(), to.c_str()));
}

static mode_t modeOf(const std::string& path) {
  struct ::stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

struct Umask {
  explicit Umask(mode_t mask) : before(::umask(mask)) {}
  ~Umask() { ::umask(before); }
  const mode_t before;
};

/// A directory with one entry of every kind that is not a regular file, and links to them.
struct FilesTest : testing::Test {
  FilesTest() {
    folder.write("file", "text");
    folder.write("empty", "");
    EXPECT_EQ(::mkdir(folder.path("folder").c_str(), 0700), 0);
    EXPECT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(::mknod(folder.path("socket").c_str(), S_IFSOCK | 0600, 0), 0);
    link("device", "/dev/null");  // A link, because only root may create a device.
    link("proc", "/proc/self/status");
    for (const std::string name : {"file", "folder", "fifo", "socket", "nothing"})
      link("to " + name, name);
    link("loop", "loop");
  }
  void link(const std::string& name, const std::string& target) const {
    EXPECT_EQ(::symlink(target.c_str(), folder.path(name).c_str()), 0) << name;
  }
  std::string temporary() const {
    char path[1000] = "";
    EXPECT_NE(GetTempFileNameA(folder.path().c_str(), "tmp", 0, path), 0U);
    return path;
  }
  bool isThere(const std::string& name) const {
    struct ::stat status;
    return ::lstat(folder.path(name).c_str(), &status) == 0;
  }

  const test::TempDir folder;
};

// A link is deleted, and not its file. One to something that is not a file is not deleted either.
TEST_F(FilesTest, OnlyRegularFilesAreReadAndDeleted) {
  const struct {
    const char* name;
    DWORD reading;
    DWORD deleting;
  } rows[] = {{"to file", ERROR_SUCCESS, ERROR_SUCCESS},
              {"file", ERROR_SUCCESS, ERROR_SUCCESS},
              {"empty", ERROR_SUCCESS, ERROR_SUCCESS},
              {"none", ERROR_FILE_NOT_FOUND, ERROR_FILE_NOT_FOUND},
              {"to nothing", ERROR_FILE_NOT_FOUND, ERROR_SUCCESS},
              {"none/file", ERROR_PATH_NOT_FOUND, ERROR_PATH_NOT_FOUND},
              {"folder", ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
              {"to folder", ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
              {"fifo", ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
              {"to fifo", ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
              {"socket", ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
              {"to socket", ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
              {"device", ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
              {"loop", ERROR_GEN_FAILURE, ERROR_ACCESS_DENIED},
              {"proc", ERROR_ACCESS_DENIED, ERROR_SUCCESS}};
  for (const auto& [name, reading, deleting] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(codeOfOpening(folder.path(name), GENERIC_READ), reading);
    const bool before = isThere(name);
    EXPECT_EQ(codeOfDeleting(folder.path(name)), deleting);
    EXPECT_EQ(isThere(name), before && deleting != ERROR_SUCCESS);
    if (name == std::string("to file")) {
      EXPECT_EQ(folder.read("file"), "text") << "the link's file was deleted";
    }
  }
}

TEST_F(FilesTest, ATemporaryFileIsNotOpenedThroughWhatTookItsName) {
  const std::string file = folder.path("file");
  const std::pair<const char*, std::function<int(const char*)>> exchanges[] = {
      {"symbolic link", [&](const char* to) { return ::symlink(file.c_str(), to); }},
      {"second name", [&](const char* to) { return ::link(file.c_str(), to); }},
      {"FIFO", [](const char* to) { return ::mkfifo(to, 0600); }},
      {"folder", [](const char* to) { return ::mkdir(to, 0700); }}};
  for (const auto& [name, exchange] : exchanges) {
    const std::string path = temporary();
    ASSERT_EQ(::unlink(path.c_str()) + exchange(path.c_str()), 0);
    EXPECT_EQ(codeOfOpening(path, GENERIC_WRITE), ERROR_ACCESS_DENIED) << name;
    EXPECT_EQ(folder.read("file"), "text") << name;
  }
  char path[1000];
  EXPECT_EQ(GetTempFileNameA(folder.path("none").c_str(), "tmp", 0, path), 0U);
  EXPECT_EQ(GetLastError(), ERROR_DIRECTORY);
}

TEST_F(FilesTest, AnotherUsersFileIsNotATemporaryFile) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file to another user";
  const std::string path = temporary();
  ASSERT_EQ(::chown(path.c_str(), kOtherUser, kOtherUser), 0);
  EXPECT_EQ(codeOfOpening(path, GENERIC_WRITE), ERROR_ACCESS_DENIED);
  EXPECT_EQ(codeOfOpening(path, GENERIC_READ), ERROR_SUCCESS);
}

TEST_F(FilesTest, DevicesAreNotDeleted) {
  const std::string path = folder.path("null");
  if (::mknod(path.c_str(), S_IFCHR | 0666, ::makedev(1, 3)) != 0)
    GTEST_SKIP() << "a device cannot be created here: " << std::strerror(errno);
  EXPECT_EQ(codeOfDeleting(path), ERROR_ACCESS_DENIED);
  EXPECT_EQ(codeOfOpening(path, GENERIC_WRITE), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(isThere("null"));
}

struct Permissions {
  mode_t umask;
  int oldMode;  // -1: there is no old file.
  mode_t newMode;
  uid_t owner = ::geteuid();
  gid_t group = ::getegid();
};

struct ReplacementTest : FilesTest {
  void replace(const Permissions& permissions) const {
    const auto& [mask, oldMode, newMode, owner, group] = permissions;
    SCOPED_TRACE("umask " + std::to_string(mask) + ", old mode " + std::to_string(oldMode));
    const std::string target = folder.path("target");
    ::unlink(target.c_str());
    if (oldMode >= 0) {
      folder.write("target", "old");
      ASSERT_EQ(::chown(target.c_str(), owner, group), 0);
      ASSERT_EQ(::chmod(target.c_str(), static_cast<mode_t>(oldMode)), 0);
    }
    const Umask umask(mask);
    const std::string path = temporary();
    EXPECT_EQ(modeOf(path), 0600U);
    const HANDLE file = openExisting(path, GENERIC_WRITE);
    temporary();  // Another replacement, which the thread begins in the middle of this one.
    EXPECT_TRUE(CloseHandle(file));
    EXPECT_EQ(codeOfDeleting(target), oldMode >= 0 ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(modeOf(path), 0600U);
    EXPECT_EQ(codeOfMoving(path, target), ERROR_SUCCESS);
    EXPECT_EQ(modeOf(target), newMode);
  }
};

// The thread that deletes the file is not always the one that moves its own file there.
TEST_F(ReplacementTest, KeepsThePermissionsOfAFileThatAnotherThreadDeleted) {
  folder.write("target", "old");
  const std::string target = folder.path("target");
  ASSERT_EQ(::chmod(target.c_str(), 0600), 0);
  const std::string path = temporary();
  std::thread([&] { EXPECT_EQ(codeOfDeleting(target), ERROR_SUCCESS); }).join();
  EXPECT_EQ(codeOfMoving(path, target), ERROR_SUCCESS);
  EXPECT_EQ(modeOf(target), 0600U);
}

// With an access control list the group's bits are those of the users in the list.
TEST_F(ReplacementTest, AllowsTheGroupNoMoreThanAllUsersWhereThereIsAnAccessList) {
  constexpr unsigned char kList[] = {2,   0,   0,   0,   1,   0,   6,   0,
                                     255, 255, 255, 255,                    // The user: rw-.
                                     2,   0,   6,   0,   254, 255, 0,   0,  // The user 65534: rw-.
                                     4,   0,   0,   0,   255, 255, 255, 255,   // The group: ---.
                                     16,  0,   6,   0,   255, 255, 255, 255,   // The mask: rw-.
                                     32,  0,   0,   0,   255, 255, 255, 255};  // All users: ---.
  folder.write("target", "old");
  const std::string target = folder.path("target");
  if (::setxattr(target.c_str(), "system.posix_acl_access", kList, sizeof kList, 0) != 0)
    GTEST_SKIP() << "the file system has no access control lists: " << std::strerror(errno);
  EXPECT_EQ(modeOf(target), 0660U);
  const std::string path = temporary();
  EXPECT_EQ(codeOfDeleting(target), ERROR_SUCCESS);
  EXPECT_EQ(codeOfMoving(path, target), ERROR_SUCCESS);
  EXPECT_EQ(modeOf(target), 0600U);
}

TEST_F(ReplacementTest, KeepsThePermissionsOfTheOldFile) {
  for (const auto& permissions : {Permissions{022, -1, 0644},
                                  {0, -1, 0666},
                                  {0777, -1, 0},
                                  {022, 0600, 0600},
                                  {0, 0400, 0400},
                                  {022, 07755, 0755},
                                  {0777, 0644, 0644}})
    replace(permissions);
}

TEST_F(ReplacementTest, AllowsOtherUsersNoMoreThanBefore) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file to another user";
  for (const auto& permissions : {Permissions{022, 0666, 0644, kOtherUser, kOtherUser},
                                  {022, 0640, 0600, kOtherUser, kOtherUser},
                                  {022, 0777, 0644, kOtherUser, ::getegid()},
                                  {022, 0640, 0640, ::geteuid(), kOtherUser}})
    replace(permissions);
  struct ::stat status {};
  EXPECT_EQ(::stat(folder.path("target").c_str(), &status), 0);
  EXPECT_EQ(status.st_gid, kOtherUser) << "the group was not kept";
  // Network file systems give new files to nobody, or to the user who mounted them.
  ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
  ::setfsuid(kOtherUser);
  replace({022, -1, 0644});
  ::setfsuid(0);
}

TEST_F(FilesTest, PermissionsGoToTheReplacementOfTheirFileOnly) {
  const Umask umask(077);
  const std::string other = folder.path("other"), target = folder.path("target");
  const auto makeOldFile = [&] {
    folder.write("target", "");
    EXPECT_EQ(::chmod(target.c_str(), 0666), 0);
  };
  const auto closeTemporary = [&] {
    const std::string path = temporary();
    EXPECT_EQ(codeOfOpening(path, GENERIC_WRITE), ERROR_SUCCESS);
    return path;
  };
  makeOldFile();
  std::string path = closeTemporary();
  EXPECT_EQ(codeOfDeleting(target) + codeOfMoving(path, other), ERROR_SUCCESS);
  EXPECT_EQ(modeOf(other), 0600U) << "moved to another name";

  makeOldFile();
  path = closeTemporary();
  ASSERT_EQ(::rename(other.c_str(), path.c_str()), 0);  // By another user.
  EXPECT_EQ(codeOfDeleting(target) + codeOfMoving(path, target), ERROR_SUCCESS);
  EXPECT_EQ(modeOf(target), 0600U) << "not the file that was created";

  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a link to another user";
  makeOldFile();
  link("theirs", "target");
  ASSERT_EQ(::lchown(folder.path("theirs").c_str(), kOtherUser, kOtherUser), 0);
  path = closeTemporary();
  const std::string theirs = folder.path("theirs");
  EXPECT_EQ(codeOfDeleting(theirs) + codeOfMoving(path, theirs), ERROR_SUCCESS);
  EXPECT_EQ(modeOf(theirs), 0600U) << "another user chose the old file";
}

/// Runs `work` in a child process in which the system calls `numbers` fail with `error`.
static void whileFailing(const std::vector<long>& numbers, int error,
                         const std::function<void()>& work) {
  const int result = inChild([&] {
    for (const long number : numbers)
      if (!failSystemCall(number, error)) return kNoRights;
    return checkInChild(work);
  });
  if (result == kNoRights) GTEST_SKIP() << "the system does not allow to filter system calls";
  EXPECT_EQ(result, 0) << std::strerror(error);
}

TEST_F(FilesTest, MoveWithoutTheSystemCallsForIt) {
  const std::string from = folder.path("file"), target = folder.path("target");
  const std::vector<long> missingCalls[] = {{}, {SYS_renameat2}, {SYS_renameat2, SYS_link}};
  for (const auto& missing : missingCalls)
    for (const int error : {EPERM, ENOSYS, EINVAL})
      whileFailing(missing, error, [&] {
        EXPECT_EQ(codeOfMoving(from, folder.path("empty")), ERROR_ALREADY_EXISTS);
        EXPECT_EQ(codeOfMoving(from, folder.path("none/file")), ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(codeOfMoving(folder.path("none"), target), ERROR_FILE_NOT_FOUND);
        EXPECT_FALSE(isThere("target"));
        EXPECT_EQ(codeOfMoving(from, target), ERROR_SUCCESS);
        EXPECT_FALSE(isThere("file"));
        EXPECT_EQ(::rename(target.c_str(), from.c_str()), 0);
      });
  whileFailing({SYS_renameat2, SYS_link, SYS_rename}, EPERM, [&] {
    EXPECT_EQ(codeOfMoving(from, target), ERROR_ACCESS_DENIED);
    EXPECT_FALSE(isThere("target")) << "an empty file was left";
  });
  EXPECT_EQ(folder.read("file"), "text");
  EXPECT_EQ(folder.read("empty"), "");
}

TEST_F(FilesTest, FlushReportsBytesThatDoNotReachTheDisk) {
  const std::string path = folder.path("file");
  for (const auto& [error, code] : {std::pair{EIO, ERROR_WRITE_FAULT},
                                    {ENOSPC, ERROR_DISK_FULL},
                                    {EDQUOT, ERROR_DISK_FULL},
                                    {EINVAL, ERROR_SUCCESS},
                                    {EPERM, ERROR_SUCCESS}})
    whileFailing({SYS_fdatasync}, error, [&, expected = code] {
      DWORD written;
      const HANDLE changed = openExisting(path, GENERIC_WRITE);
      EXPECT_TRUE(WriteFile(changed, "x", 1, &written, nullptr));
      EXPECT_EQ(codeOfCall(FlushFileBuffers(changed)), expected);
      EXPECT_TRUE(CloseHandle(changed));
    });
}

static int leased = -1;

TEST_F(FilesTest, OpenWaitsForALease) {
  leased = ::open(folder.path("file").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_NE(::signal(SIGIO, [](int) { ::fcntl(leased, F_SETLEASE, F_UNLCK); }), SIG_ERR);
  if (::fcntl(leased, F_SETLEASE, F_WRLCK) != 0)
    GTEST_SKIP() << "the file system has no leases: " << std::strerror(errno);
  EXPECT_EQ(codeOfOpening(folder.path("file"), GENERIC_READ), ERROR_SUCCESS);
  ::close(leased);
}

}  // namespace orla
