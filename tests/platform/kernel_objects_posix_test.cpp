// Which processes share named objects, and what happens if they cannot. Each test runs in separate
// processes, and in separate namespaces if it changes the system.
#include "PlatformTest.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "ChildProcess.h"

namespace orla {

namespace {

const std::string kName = "Orla.Test.Shared@" + std::to_string(std::random_device()());

constexpr uid_t kNobody = 65534;

std::string namespaceNumber() {
  struct ::stat status {};
  ::stat("/proc/self/ns/pid", &status);
  return std::to_string(status.st_ino);
}

/// The file that kNobody's processes share.
const std::string kFile = "/dev/shm/orla.65534." + namespaceNumber();

/// What a process finds that creates an object, while another one may have it open. A sanitizer that
/// finds a fault ends the process with 1.
enum Outcome { kShared = 10, kFresh, kRefused };

/// Of an object that was just created.
Outcome outcomeOf(HANDLE object) {
  if (object == nullptr) return kRefused;
  return GetLastError() == ERROR_ALREADY_EXISTS ? kShared : kFresh;
}

HANDLE makeNamed() {
  return CreateSemaphoreA(nullptr, 0, 5, kName.c_str());
}

int create() {
  return outcomeOf(makeNamed());
}

bool nothing() {
  return true;
}

/// Prepares a process, which then has the object open while `work` runs in this one. Returns the
/// result of `work`, or -1 if the process could not be prepared.
int besideAProcess(const std::function<bool()>& prepare, const std::function<int()>& work) {
  int ready[2];
  if (::pipe2(ready, O_CLOEXEC) != 0) return -1;
  const pid_t first = ::fork();
  if (first == 0) {
    ::alarm(60);
    const char created = prepare() && makeNamed() != nullptr ? 'y' : 'n';
    static_cast<void>(::write(ready[1], &created, 1));
    ::close(ready[1]);
    for (;;) ::pause();
  }
  ::close(ready[1]);
  char created = 'n';
  static_cast<void>(::read(ready[0], &created, 1));
  ::close(ready[0]);
  const int result = created == 'y' ? work() : -1;
  ::kill(first, SIGKILL);
  ::waitpid(first, nullptr, 0);
  return result;
}

bool mountTmpfs(const char* place, const char* options, unsigned long flags = 0) {
  return ::mount("tmpfs", place, "tmpfs", flags, options) == 0;
}

bool makeReadOnly(const char* place) {
  return mountTmpfs(place, "", MS_RDONLY);
}

/// Mounts on both of the directories that a file of root can be in.
bool mountBoth(const char* options, unsigned long flags = 0) {
  return mountTmpfs("/run", options, flags) && mountTmpfs("/dev/shm", options, flags);
}

/// Enters a namespace of mounts in which /run and /dev/shm are empty.
bool hasEmptyDirectories() {
  return ::unshare(CLONE_NEWNS) == 0 &&
         ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mountTmpfs("/run", "mode=755") && mountTmpfs("/dev/shm", "mode=1777");
}

bool become(uid_t user) {
  return ::setresuid(user, user, user) == 0;
}

/// The process that has the object open is the new namespace's process 1, as each container's is.
bool enterPidNamespace() {
  if (::unshare(CLONE_NEWPID) != 0) return false;
  const pid_t inside = ::fork();
  if (inside != 0) {
    for (;;) ::pause();
  }
  ::alarm(60);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  return ::mount("proc", "/proc", "proc", 0, nullptr) == 0;
}

bool makeFile(const std::string& path, uid_t user, mode_t mode, const std::string& content = "") {
  const int file = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600);
  const auto size = static_cast<ssize_t>(content.size());
  return file >= 0 && ::write(file, content.data(), content.size()) == size &&
         ::fchown(file, user, user) == 0 && ::fchmod(file, mode) == 0 && ::close(file) == 0;
}

/// Creates kNobody's runtime directory, which is the only writable directory then.
bool makeRuntimeDirectory(mode_t mode) {
  const char* const directory = "/run/user/65534";
  return ::mkdir("/run/user", 0755) == 0 && ::mkdir(directory, mode) == 0 &&
         ::chown(directory, kNobody, kNobody) == 0 && makeReadOnly("/dev/shm");
}

/// Locks kNobody's empty file as its users do.
bool useEmptyFile() {
  struct ::flock lock {};
  lock.l_type = F_RDLCK;
  lock.l_start = 1;
  lock.l_len = 1;
  return makeFile(kFile, kNobody, 0600) &&
         ::fcntl(::open(kFile.c_str(), O_RDWR | O_CLOEXEC), F_OFD_SETLK, &lock) == 0;
}

bool exists(const std::string& path) {
  struct ::stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

#define SKIP_WITHOUT_RIGHTS(result) \
  if ((result) == kNoRights) GTEST_SKIP() << "needs root and separate namespaces"

}  // namespace

TEST(NamedObjects, AreSharedByTheProcessesOfOneUserThatSeeOneSafeDirectory) {
  const char* const path = kFile.c_str();
  const struct {
    const char* what;
    uid_t user;
    Outcome outcome;
    std::function<bool()> prepare = nothing;       // Of the system, as root.
    std::function<bool()> prepareFirst = nothing;  // Of the first process.
  } cases[] = {
      {"root", 0, kShared},
      {"a user who has /dev/shm alone", kNobody, kShared},
      {"two users", 0, kFresh, nothing, [] { return become(kNobody); }},
      {"two PID namespaces", 0, kFresh, nothing, enterPidNamespace},
      {"a runtime directory", kNobody, kShared, [] { return makeRuntimeDirectory(0700); }},
      {"one that others may read", kNobody, kFresh, [] { return makeRuntimeDirectory(0755); }},
      {"read-only /run", 0, kShared, [] { return makeReadOnly("/run"); }},
      {"both read-only", 0, kFresh, [] { return mountBoth("", MS_RDONLY); }},
      {"both full", 0, kFresh, [] { return mountBoth("size=4k"); }},
      {"no inodes", 0, kFresh, [] { return mountBoth("nr_inodes=1"); }},
      {"another user's file", kNobody, kFresh, [] { return makeFile(kFile, 0, 0666); }},
      {"a FIFO", kNobody, kFresh, [=] { return ::mkfifo(path, 0666) == 0; }},
      {"a directory", kNobody, kFresh, [=] { return ::mkdir(path, 0777) == 0; }},
      {"a link", kNobody, kFresh,
       [=] {
         return makeFile("/dev/shm/target", kNobody, 0666) && ::symlink("target", path) == 0;
       }},
      {"a file with a second name", kNobody, kFresh,
       [=] { return makeFile(kFile, kNobody, 0600) && ::link(path, "/dev/shm/other") == 0; }},
      {"a file where root's directory would be", 0, kFresh,
       [] { return makeFile("/run/orla", 0, 0644) && makeReadOnly("/dev/shm"); }},
      {"a file of mode 0000, which a killed process left", kNobody, kShared,
       [] { return makeFile(kFile, kNobody, 0000); }},
      {"a damaged file, which killed processes left", kNobody, kShared,
       [] { return makeFile(kFile, kNobody, 0600, std::string(51000, 'x')); }},
      {"an empty file in use", kNobody, kFresh, useEmptyFile},
  };
  for (const auto& row : cases) {
    const int result = inChild([&] {
      if (!hasEmptyDirectories()) return kNoRights;
      if (!row.prepare() || !become(row.user)) return -1;
      return besideAProcess(row.prepareFirst, create);
    });
    SKIP_WITHOUT_RIGHTS(result);
    EXPECT_EQ(result, row.outcome) << row.what;
  }
}

/// Creates the object while a resource is limited. The sanitizers need descriptors at their first
/// sight of an object, and afterwards.
static HANDLE makeLimited(__rlimit_resource resource, rlim_t most) {
  CloseHandle(makeNamed());
  CloseHandle(
      CreateSemaphoreA(nullptr, 0, 5, nullptr));  // This one is not shared, but initialized.
  ::closefrom(3);
  rlimit before{};
  ::getrlimit(resource, &before);
  const rlimit low{most, before.rlim_max};
  ::setrlimit(resource, &low);
  const HANDLE object = makeNamed();
  const DWORD error = GetLastError();
  ::setrlimit(resource, &before);
  SetLastError(error);
  return object;
}

TEST(NamedObjects, ArePrivateWhereTheProcessCannotHaveTheirFile) {
  const struct {
    const char* what;
    __rlimit_resource resource;
    rlim_t most;
    Outcome besideAnother;
  } limits[] = {{"no descriptor for the file", RLIMIT_NOFILE, 3, kFresh},
                {"no descriptor for its mapping", RLIMIT_NOFILE, 4, kFresh},
                // A file that exists already needs no more room.
                {"no room in a file", RLIMIT_FSIZE, 0, kShared}};
  for (const auto& [what, resource, most, besideAnother] : limits) {
    SCOPED_TRACE(what);
    const auto make = [&, name = resource, limit = most] { return makeLimited(name, limit); };
    EXPECT_EQ(besideAProcess(nothing, [&] { return inChild([&] { return outcomeOf(make()); }); }),
              besideAnother);
    EXPECT_EQ(checkInChild([&] {
                const HANDLE object = make();
                ASSERT_NE(object, nullptr);
                EXPECT_TRUE(ReleaseSemaphore(object, 1, nullptr));
                EXPECT_EQ(WaitForSingleObject(object, 0), WAIT_OBJECT_0);
                const HANDLE again = makeNamed();
                EXPECT_EQ(outcomeOf(again), kShared);
                EXPECT_TRUE(CloseHandle(object));
                EXPECT_TRUE(CloseHandle(again));
                EXPECT_EQ(::fcntl(3, F_GETFD), -1) << "a descriptor is open";
              }),
              0);
  }
}

TEST(NamedObjects, OfOneProcessAreAllSharedOrAllPrivate) {
  const auto createOther = [] { return outcomeOf(CreateEventA(nullptr, TRUE, TRUE, "Other")); };
  const int result = inChild([&] {
    if (!hasEmptyDirectories() || !mountBoth("", MS_RDONLY)) return kNoRights;
    if (create() != kFresh || ::umount("/dev/shm") != 0) return -1;
    return besideAProcess([&] { return createOther() == kFresh; }, createOther);
  });
  SKIP_WITHOUT_RIGHTS(result);
  EXPECT_EQ(result, kFresh);
}

TEST(NamedObjects, HaveAFileOfTheirUserAloneWhateverTheUmaskWhichTheLastOneRemoves) {
  for (const mode_t mask : {0000U, 0022U, 0277U, 0477U, 0777U}) {
    const int result = inChild([&] {
      if (!hasEmptyDirectories()) return kNoRights;
      return checkInChild([&] {
        ::umask(mask);
        ASSERT_TRUE(become(kNobody));
        const HANDLE first = makeNamed();
        const HANDLE second = CreateMutexA(nullptr, FALSE, (kName + "-mutex").c_str());
        struct ::stat status {};
        ASSERT_EQ(::stat(kFile.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600U);
        EXPECT_EQ(inChild(create), kShared);
        CloseHandle(first);
        EXPECT_TRUE(exists(kFile));
        CloseHandle(second);
        EXPECT_FALSE(exists(kFile));
      });
    });
    SKIP_WITHOUT_RIGHTS(result);
    EXPECT_EQ(result, 0) << std::oct << mask;
  }
}

TEST(NamedObjects, OfAnotherKindAreRefusedInOtherProcesses) {
  EXPECT_EQ(
      besideAProcess(nothing, [] { return outcomeOf(CreateEventA(nullptr, 1, 1, kName.c_str())); }),
      kRefused);
}

// A daemon closes every descriptor that it does not know. The number may then belong to another file.
TEST(NamedObjects, LeaveADescriptorAloneThatIsNoLongerTheirs) {
  EXPECT_EQ(checkInChild([] {
              const int next = ::dup(0);
              ::close(next);
              const HANDLE object = makeNamed();
              // Another file of the same file system.
              const std::string own = "/proc/self/fd/" + std::to_string(next);
              const std::string other = std::filesystem::read_symlink(own).string() + "-other";
              ::closefrom(next);
              EXPECT_EQ(::open(other.c_str(), O_RDWR | O_CREAT, 0600), next);
              EXPECT_EQ(::unlink(other.c_str()), 0);
              EXPECT_TRUE(ReleaseSemaphore(object, 1, nullptr));
              EXPECT_TRUE(CloseHandle(object));
              EXPECT_NE(::fcntl(next, F_GETFD), -1) << "another file was closed";
            }),
            0);
}

TEST(NamedObjects, AreReplacedWhereKilledProcessesLeftThem) {
  // The file stays in use by a process that has another object open.
  const auto leaveMany = [] {
    for (int i = 0; i < 400; ++i) {
      const std::string name = "Orla.Test.Left" + std::to_string(i / 2);
      const auto leave = [&] { return outcomeOf(CreateSemaphoreA(nullptr, 1, 1, name.c_str())); };
      EXPECT_EQ(inChild(leave), kFresh) << i;
    }
    return 0;
  };
  EXPECT_EQ(besideAProcess(nothing, leaveMany), 0);
}

// A daemon forks after it has loaded the library, and its first process ends.
TEST(NamedObjects, StayOpenInAForkedChildWhenItsParentClosesThem) {
  EXPECT_EQ(checkInChild([] {
              const HANDLE object = makeNamed();
              ASSERT_NE(object, nullptr);
              const pid_t daemon = ::fork();
              if (daemon == 0) {
                ::alarm(60);
                for (;;) ::pause();
              }
              EXPECT_TRUE(CloseHandle(object));
              EXPECT_EQ(inChild(create), kShared);
              ::kill(daemon, SIGKILL);
              ::waitpid(daemon, nullptr, 0);
            }),
            0);
}

}  // namespace orla
