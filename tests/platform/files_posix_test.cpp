#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "ChildProcess.h"
#include "PlatformTest.h"
#include "support/TempDir.h"

namespace orla {

static constexpr uid_t kOtherUser = 65534;

static HANDLE openExisting(const std::string& path, DWORD access) {
  return CreateFileA(path.c_str(), access, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

/// The code of a call that returned a handle or a BOOL; a handle is closed.
static DWORD codeOfFile(HANDLE handle) {
  return handle == INVALID_HANDLE_VALUE ? GetLastError() : !CloseHandle(handle);
}
static DWORD codeOfCall(BOOL result) {
  return result ? ERROR_SUCCESS : GetLastError();
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

TEST_F(FilesTest, OnlyRegularFilesOfAKnownSizeCanBeRead) {
  for (const auto& [name, code] : {std::pair{"file", ERROR_SUCCESS},
                                   {"to file", ERROR_SUCCESS},
                                   {"empty", ERROR_SUCCESS},
                                   {"none", ERROR_FILE_NOT_FOUND},
                                   {"to nothing", ERROR_FILE_NOT_FOUND},
                                   {"none/file", ERROR_PATH_NOT_FOUND},
                                   {"folder", ERROR_ACCESS_DENIED},
                                   {"fifo", ERROR_ACCESS_DENIED},
                                   {"to fifo", ERROR_ACCESS_DENIED},
                                   {"socket", ERROR_ACCESS_DENIED},
                                   {"device", ERROR_ACCESS_DENIED},
                                   {"proc", ERROR_ACCESS_DENIED}})
    EXPECT_EQ(codeOfFile(openExisting(folder.path(name), GENERIC_READ)), code) << name;
}

TEST_F(FilesTest, ATemporaryFileIsNotOpenedThroughWhatTookItsName) {
  struct Case {
    const char* name;
    std::function<void(const char*)> exchange;
    DWORD code;
  };
  const std::string file = folder.path("file");
  for (const auto& [name, exchange, code] :
       {Case{"nothing", [](const char*) {}, ERROR_SUCCESS},
        {"symbolic link", [&](const char* to) { EXPECT_EQ(::symlink(file.c_str(), to), 0); },
         ERROR_ACCESS_DENIED},
        {"second name", [&](const char* to) { EXPECT_EQ(::link(file.c_str(), to), 0); },
         ERROR_ACCESS_DENIED},
        {"FIFO", [](const char* to) { EXPECT_EQ(::mkfifo(to, 0600), 0); }, ERROR_ACCESS_DENIED},
        {"folder", [](const char* to) { EXPECT_EQ(::mkdir(to, 0700), 0); }, ERROR_ACCESS_DENIED}}) {
    const std::string path = temporary();
    if (code != ERROR_SUCCESS) {
      ASSERT_EQ(::unlink(path.c_str()), 0);
    }
    exchange(path.c_str());
    EXPECT_EQ(codeOfFile(openExisting(path, GENERIC_WRITE)), code) << name;
    EXPECT_EQ(folder.read("file"), "text") << name;
  }
}

TEST_F(FilesTest, AnotherUsersFileIsNotATemporaryFile) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file to another user";
  const std::string path = temporary();
  ASSERT_EQ(::chown(path.c_str(), kOtherUser, kOtherUser), 0);
  EXPECT_EQ(codeOfFile(openExisting(path, GENERIC_WRITE)), ERROR_ACCESS_DENIED);
  EXPECT_EQ(codeOfFile(openExisting(path, GENERIC_READ)), ERROR_SUCCESS);
}

TEST_F(FilesTest, OnlyRegularFilesAndLinksToThemAreDeleted) {
  for (const auto& [name, code] : {std::pair{"fifo", ERROR_ACCESS_DENIED},
                                   {"socket", ERROR_ACCESS_DENIED},
                                   {"device", ERROR_ACCESS_DENIED},
                                   {"folder", ERROR_ACCESS_DENIED},
                                   {"to fifo", ERROR_ACCESS_DENIED},
                                   {"to socket", ERROR_ACCESS_DENIED},
                                   {"to folder", ERROR_ACCESS_DENIED},
                                   {"loop", ERROR_ACCESS_DENIED},
                                   {"to nothing", ERROR_SUCCESS},
                                   {"to file", ERROR_SUCCESS}}) {
    EXPECT_EQ(codeOfCall(DeleteFileA(folder.path(name).c_str())), code) << name;
    EXPECT_EQ(isThere(name), code != ERROR_SUCCESS) << name;
  }
  EXPECT_EQ(folder.read("file"), "text") << "a link's file was deleted";
  EXPECT_EQ(codeOfCall(DeleteFileA(folder.path("file").c_str())), ERROR_SUCCESS);
  EXPECT_EQ(codeOfCall(DeleteFileA(folder.path("file").c_str())), ERROR_FILE_NOT_FOUND);
}

TEST_F(FilesTest, DevicesAreNotDeleted) {
  const std::string path = folder.path("null");
  if (::mknod(path.c_str(), S_IFCHR | 0666, ::makedev(1, 3)) != 0)
    GTEST_SKIP() << "a device cannot be created here: " << std::strerror(errno);
  EXPECT_EQ(codeOfCall(DeleteFileA(path.c_str())), ERROR_ACCESS_DENIED);
  EXPECT_EQ(codeOfFile(openExisting(path, GENERIC_WRITE)), ERROR_ACCESS_DENIED);
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
    DeleteFileA(target.c_str());  // Of an earlier replacement; not the file that is replaced now.
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
    DWORD written;
    EXPECT_TRUE(WriteFile(file, "new", 3, &written, nullptr) && CloseHandle(file));
    EXPECT_EQ(codeOfCall(DeleteFileA(target.c_str())),
              oldMode >= 0 ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(modeOf(path), 0600U);
    EXPECT_TRUE(MoveFileA(path.c_str(), target.c_str()));
    EXPECT_EQ(modeOf(target), newMode);
  }
};

TEST_F(ReplacementTest, KeepsThePermissionsOfTheOldFile) {
  for (const auto& permissions : {Permissions{022, -1, 0644},
                                  {0, -1, 0666},
                                  {077, -1, 0600},
                                  {0777, -1, 0},
                                  {022, 0600, 0600},
                                  {0, 0400, 0400},
                                  {077, 0664, 0664},
                                  {022, 0755, 0755},
                                  {022, 07755, 0755},
                                  {0777, 0644, 0644}})
    replace(permissions);
}

TEST_F(ReplacementTest, AllowsOtherUsersNoMoreThanBefore) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file to another user";
  for (const auto& permissions : {Permissions{022, 0666, 0644, kOtherUser, kOtherUser},
                                  {022, 0600, 0600, kOtherUser, kOtherUser},
                                  {022, 0640, 0600, kOtherUser, kOtherUser},
                                  {022, 0777, 0644, kOtherUser, ::getegid()},
                                  {022, 0640, 0640, ::geteuid(), kOtherUser}})
    replace(permissions);
  struct ::stat status {};
  EXPECT_EQ(::stat(folder.path("target").c_str(), &status), 0);
  EXPECT_EQ(status.st_gid, kOtherUser) << "the group was not kept";
}

// Network file systems give files to nobody, or to the user who mounted them.
TEST_F(ReplacementTest, WorksWhereNewFilesBelongToAnotherUser) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can create files as another user";
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
    EXPECT_EQ(codeOfFile(openExisting(path, GENERIC_WRITE)), ERROR_SUCCESS);
    return path;
  };
  makeOldFile();
  std::string path = closeTemporary();
  EXPECT_TRUE(DeleteFileA(target.c_str()) && MoveFileA(path.c_str(), other.c_str()));
  EXPECT_EQ(modeOf(other), 0600U) << "moved to another name";

  makeOldFile();
  path = closeTemporary();
  ASSERT_EQ(::rename(other.c_str(), path.c_str()), 0);  // By another user.
  EXPECT_TRUE(DeleteFileA(target.c_str()) && MoveFileA(path.c_str(), target.c_str()));
  EXPECT_EQ(modeOf(target), 0600U) << "not the file that was created";

  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a link to another user";
  makeOldFile();
  link("theirs", "target");
  ASSERT_EQ(::lchown(folder.path("theirs").c_str(), kOtherUser, kOtherUser), 0);
  path = closeTemporary();
  const std::string theirs = folder.path("theirs");
  EXPECT_TRUE(DeleteFileA(theirs.c_str()) && MoveFileA(path.c_str(), theirs.c_str()));
  EXPECT_EQ(modeOf(theirs), 0600U) << "another user chose the old file";
}

/// Runs `work` in a child process in which the system call `number` fails with `error`, and expects
/// that it returns 0.
static void whileFailing(long number, int error, const std::function<int()>& work) {
  constexpr int kNotAllowed = 255;
  const int result = inChild([&] { return failSystemCall(number, error) ? work() : kNotAllowed; });
  if (result == kNotAllowed) GTEST_SKIP() << "the system does not allow to filter system calls";
  EXPECT_EQ(result, 0) << std::strerror(error);
}

TEST_F(FilesTest, MoveWithoutTheSystemCallForIt) {
  const std::string from = folder.path("file"), target = folder.path("target");
  for (const int error : {EPERM, ENOSYS, EINVAL})
    whileFailing(SYS_renameat2, error, [&] {
      const bool kept = !MoveFileA(from.c_str(), folder.path("empty").c_str()) &&
                        GetLastError() == ERROR_ALREADY_EXISTS;
      return kept && MoveFileA(from.c_str(), target.c_str()) && !isThere("file") &&
                     ::rename(target.c_str(), from.c_str()) == 0
                 ? 0
                 : 1;
    });
  EXPECT_EQ(folder.read("file"), "text");
  EXPECT_EQ(folder.read("empty"), "");
}

TEST_F(FilesTest, CloseReportsBytesThatDoNotReachTheDisk) {
  for (const auto& [error, code] : {std::pair{EIO, ERROR_WRITE_FAULT},
                                    {ENOSPC, ERROR_DISK_FULL},
                                    {EDQUOT, ERROR_DISK_FULL},
                                    {EINVAL, ERROR_SUCCESS},
                                    {EROFS, ERROR_SUCCESS},
                                    {EPERM, ERROR_SUCCESS}})
    whileFailing(SYS_fdatasync, error, [&, expected = code] {
      DWORD written;
      const HANDLE changed = openExisting(folder.path("file"), GENERIC_WRITE);
      if (!WriteFile(changed, "x", 1, &written, nullptr)) return 1;
      if (codeOfCall(CloseHandle(changed)) != expected) return 2;
      return codeOfFile(openExisting(folder.path("file"), GENERIC_WRITE)) == 0 ? 0 : 3;
    });
}

static int leased = -1;

TEST_F(FilesTest, OpenWaitsForALease) {
  leased = ::open(folder.path("file").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_NE(::signal(SIGIO, [](int) { ::fcntl(leased, F_SETLEASE, F_UNLCK); }), SIG_ERR);
  if (::fcntl(leased, F_SETLEASE, F_WRLCK) != 0)
    GTEST_SKIP() << "the file system has no leases: " << std::strerror(errno);
  EXPECT_EQ(codeOfFile(openExisting(folder.path("file"), GENERIC_READ)), ERROR_SUCCESS);
  ::close(leased);
}

}  // namespace orla
