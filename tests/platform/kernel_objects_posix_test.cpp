// Which processes share named objects, and what happens where they cannot. Each test runs in
// processes of its own, and where it changes the system in namespaces of their own.
#include "PlatformTest.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orla {

namespace {

const std::string kName = "Orla.Test.Shared@" + std::to_string(std::random_device()());

constexpr uid_t kNobody = 65534;
/// The exit code of a process that lacks the rights for its test.
constexpr int kNoRights = 77;

/// Runs `work` in a new process and returns its result, or -1 if it was killed.
template <typename Work>
int inNewProcess(Work work) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(60);
    ::_exit(work());
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

HANDLE makeNamed() {
  return CreateSemaphoreA(nullptr, 0, 5, kName.c_str());
}

/// What a process finds that creates the object, while another one may have it open.
enum Outcome { kShared, kFresh, kRefused };

/// Of an object that was just created.
Outcome outcomeOf(HANDLE object) {
  if (object == nullptr) return kRefused;
  return GetLastError() == ERROR_ALREADY_EXISTS ? kShared : kFresh;
}

Outcome create() {
  return outcomeOf(makeNamed());
}

/// Prepares a process, which then has the object open while `work` runs in this one.
template <typename Prepare, typename Work>
int besideAProcess(Prepare prepare, Work work) {
  int ready[2];
  if (::pipe2(ready, O_CLOEXEC) != 0) return kNoRights;
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
  const int result = created == 'y' ? work() : kRefused;
  ::kill(first, SIGKILL);
  ::waitpid(first, nullptr, 0);
  return result;
}

bool nothing() {
  return true;
}

bool mountTmpfs(const char* place, const char* options, unsigned long flags = 0) {
  return ::mount("tmpfs", place, "tmpfs", flags, options) == 0;
}

/// A namespace of mounts in which /run and /dev/shm are empty.
bool hasEmptyDirectories() {
  return ::unshare(CLONE_NEWNS) == 0 &&
         ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mountTmpfs("/run", "mode=755") && mountTmpfs("/dev/shm", "mode=1777");
}

bool become(uid_t user) {
  return ::setresuid(user, user, user) == 0;
}

std::string namespaceNumber() {
  struct ::stat status {};
  ::stat("/proc/self/ns/pid", &status);
  return std::to_string(status.st_ino);
}

std::string sharedFile(const std::string& directory, uid_t user) {
  return directory + "/orla." + std::to_string(user) + "." + namespaceNumber();
}

bool makeFile(const std::string& path, mode_t mode, const char* content = "") {
  const int file = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600);
  const auto size = static_cast<ssize_t>(std::strlen(content));
  return file >= 0 && ::write(file, content, std::strlen(content)) == size &&
         ::fchmod(file, mode) == 0 && ::close(file) == 0;
}

bool exists(const std::string& path) {
  struct ::stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

#define SKIP_WITHOUT_RIGHTS(result) \
  if ((result) == kNoRights) GTEST_SKIP() << "needs root and namespaces of its own"

}  // namespace

TEST(NamedObjects, AreSharedByTheProcessesOfOneUserThatSeeOneSafeDirectory) {
  const struct {
    const char* what;
    std::function<bool()> prepare;  // Of the system, as root.
    uid_t user;
    Outcome outcome;
  } cases[] = {
      {"root", nothing, 0, kShared},
      {"another user, who has /dev/shm alone", nothing, kNobody, kShared},
      {"a user's own runtime directory",
       [] {
         return mountTmpfs("/dev/shm", "", MS_RDONLY) && ::mkdir("/run/user", 0755) == 0 &&
                ::mkdir("/run/user/65534", 0700) == 0 &&
                ::chown("/run/user/65534", kNobody, kNobody) == 0;
       },
       kNobody, kShared},
      {"a runtime directory that others may read",
       [] {
         return ::mkdir("/run/user", 0755) == 0 && ::mkdir("/run/user/65534", 0755) == 0 &&
                ::chown("/run/user/65534", kNobody, kNobody) == 0 &&
                mountTmpfs("/dev/shm", "", MS_RDONLY);
       },
       kNobody, kFresh},
      {"root's directory read-only, and /dev/shm there",
       [] { return mountTmpfs("/run", "", MS_RDONLY); }, 0, kShared},
      {"both read-only",
       [] { return mountTmpfs("/run", "", MS_RDONLY) && mountTmpfs("/dev/shm", "", MS_RDONLY); }, 0,
       kFresh},
      {"both full",
       [] { return mountTmpfs("/run", "size=4k") && mountTmpfs("/dev/shm", "size=4k"); }, 0,
       kFresh},
      {"no inodes",
       [] { return mountTmpfs("/run", "nr_inodes=1") && mountTmpfs("/dev/shm", "nr_inodes=1"); }, 0,
       kFresh},
      {"a file of another user", [] { return makeFile(sharedFile("/dev/shm", kNobody), 0666); },
       kNobody, kFresh},
      {"a FIFO", [] { return ::mkfifo(sharedFile("/dev/shm", kNobody).c_str(), 0666) == 0; },
       kNobody, kFresh},
      {"a directory", [] { return ::mkdir(sharedFile("/dev/shm", kNobody).c_str(), 0777) == 0; },
       kNobody, kFresh},
      {"a link",
       [] {
         return makeFile("/dev/shm/target", 0666) &&
                ::chown("/dev/shm/target", kNobody, kNobody) == 0 &&
                ::symlink("target", sharedFile("/dev/shm", kNobody).c_str()) == 0;
       },
       kNobody, kFresh},
      {"the user's file under a second name",
       [] {
         const std::string path = sharedFile("/dev/shm", kNobody);
         return makeFile(path, 0600) && ::chown(path.c_str(), kNobody, kNobody) == 0 &&
                ::link(path.c_str(), "/dev/shm/other") == 0;
       },
       kNobody, kFresh},
      {"a file that another user put where root's directory would be",
       [] { return makeFile("/run/orla", 0644) && mountTmpfs("/dev/shm", "", MS_RDONLY); }, 0,
       kFresh},
      {"the user's file of mode 0000, which a killed process left",
       [] {
         const std::string path = sharedFile("/dev/shm", kNobody);
         return makeFile(path, 0000) && ::chown(path.c_str(), kNobody, kNobody) == 0;
       },
       kNobody, kShared},
      {"a short file that killed processes left",
       [] {
         const std::string path = sharedFile("/dev/shm", kNobody);
         return makeFile(path, 0600, "short") && ::chown(path.c_str(), kNobody, kNobody) == 0;
       },
       kNobody, kShared},
      {"an empty file in use",
       [] {
         const std::string path = sharedFile("/dev/shm", kNobody);
         struct ::flock lock {};
         lock.l_type = F_RDLCK;
         lock.l_whence = SEEK_SET;
         lock.l_start = 1;
         lock.l_len = 1;
         return makeFile(path, 0600) && ::chown(path.c_str(), kNobody, kNobody) == 0 &&
                ::fcntl(::open(path.c_str(), O_RDWR | O_CLOEXEC), F_OFD_SETLK, &lock) == 0;
       },
       kNobody, kFresh},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.what);
    const int result = inNewProcess([&] {
      if (!hasEmptyDirectories()) return kNoRights;
      if (!row.prepare() || !become(row.user)) return -1;
      return besideAProcess(nothing, [] { return static_cast<int>(create()); });
    });
    SKIP_WITHOUT_RIGHTS(result);
    EXPECT_EQ(result, row.outcome);
  }
}

TEST(NamedObjects, AreNotSharedWithAnotherUserOrAnotherPidNamespace) {
  const struct {
    const char* what;
    std::function<bool()> prepare;  // Of the first process.
  } cases[] = {
      {"another user", [] { return become(kNobody); }},
      // The first process is the new namespace's process 1, as each container's is.
      {"another PID namespace",
       [] {
         if (::unshare(CLONE_NEWPID) != 0) return false;
         const pid_t inside = ::fork();
         if (inside != 0) {
           for (;;) ::pause();
         }
         ::alarm(60);
         ::prctl(PR_SET_PDEATHSIG, SIGKILL);
         return ::mount("proc", "/proc", "proc", 0, nullptr) == 0;
       }},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.what);
    const int result = inNewProcess([&] {
      if (!hasEmptyDirectories()) return kNoRights;
      return besideAProcess(row.prepare, [] { return static_cast<int>(create()); });
    });
    SKIP_WITHOUT_RIGHTS(result);
    EXPECT_EQ(result, kFresh);
  }
}

TEST(NamedObjects, ArePrivateWhereTheProcessCannotHaveTheirFile) {
  const struct Limit {
    const char* what;
    __rlimit_resource resource;
    rlim_t most;
    Outcome besideAnother;

    /// Creates the object under the limit. The sanitizers need descriptors at their first sight of
    /// an object, and afterwards.
    HANDLE makeNamed() const {
      CloseHandle(orla::makeNamed());
      ::closefrom(3);
      rlimit before{};
      ::getrlimit(resource, &before);
      const rlimit low{most, before.rlim_max};
      ::setrlimit(resource, &low);
      const HANDLE object = orla::makeNamed();
      const DWORD error = GetLastError();
      ::setrlimit(resource, &before);
      SetLastError(error);
      return object;
    }
  } limits[] = {{"no descriptor for the file", RLIMIT_NOFILE, 3, kFresh},
                {"no descriptor for its mapping", RLIMIT_NOFILE, 4, kFresh},
                // A file that is there already needs no room.
                {"no room in a file", RLIMIT_FSIZE, 0, kShared}};
  for (const Limit& limit : limits) {
    SCOPED_TRACE(limit.what);
    const int outcome = besideAProcess(
        nothing, [&] { return inNewProcess([&] { return outcomeOf(limit.makeNamed()); }); });
    EXPECT_EQ(outcome, limit.besideAnother);
    EXPECT_EQ(inNewProcess([&] {
                const HANDLE object = limit.makeNamed();
                if (object == nullptr || !ReleaseSemaphore(object, 1, nullptr)) return 1;
                if (WaitForSingleObject(object, 0) != WAIT_OBJECT_0) return 2;
                const HANDLE again = makeNamed();
                if (again == nullptr || GetLastError() != ERROR_ALREADY_EXISTS) return 3;
                if (!CloseHandle(object) || !CloseHandle(again)) return 4;
                return ::fcntl(3, F_GETFD) == -1 ? 0 : 5;
              }),
              0);
  }
}

TEST(NamedObjects, OfOneProcessAreAllSharedOrAllPrivate) {
  const int result = inNewProcess([] {
    if (!hasEmptyDirectories() || !mountTmpfs("/run", "", MS_RDONLY) ||
        !mountTmpfs("/dev/shm", "", MS_RDONLY))
      return kNoRights;
    if (makeNamed() == nullptr) return 1;
    if (::umount("/dev/shm") != 0) return 2;
    return besideAProcess([] { return CreateEventA(nullptr, TRUE, TRUE, "Other") != nullptr; },
                          [] {
                            CreateEventA(nullptr, TRUE, TRUE, "Other");
                            return GetLastError() == ERROR_SUCCESS ? 0 : 3;
                          });
  });
  SKIP_WITHOUT_RIGHTS(result);
  EXPECT_EQ(result, 0);
}

TEST(NamedObjects, HaveAFileOfTheirUserAloneWhateverTheUmaskWhichTheLastOneRemoves) {
  for (const mode_t mask : {0000U, 0022U, 0277U, 0477U, 0777U}) {
    const int result = inNewProcess([&] {
      if (!hasEmptyDirectories()) return kNoRights;
      ::umask(mask);
      if (!become(kNobody)) return 1;
      const HANDLE first = makeNamed();
      const HANDLE second = CreateMutexA(nullptr, FALSE, (kName + "-mutex").c_str());
      if (first == nullptr || second == nullptr) return 2;
      struct ::stat status {};
      const std::string path = sharedFile("/dev/shm", kNobody);
      if (::stat(path.c_str(), &status) != 0 || (status.st_mode & 0777) != 0600) return 3;
      if (inNewProcess([] { return static_cast<int>(create()); }) != kShared) return 4;
      CloseHandle(first);
      if (!exists(path)) return 5;
      CloseHandle(second);
      return exists(path) ? 6 : 0;
    });
    SKIP_WITHOUT_RIGHTS(result);
    EXPECT_EQ(result, 0) << std::oct << mask;
  }
}

// A daemon closes every descriptor that it does not know. The number may then belong to another file.
TEST(NamedObjects, LeaveADescriptorAloneThatIsNoLongerTheirs) {
  EXPECT_EQ(inNewProcess([] {
              const int next = ::dup(0);
              ::close(next);
              const HANDLE object = makeNamed();
              if (object == nullptr || ::fcntl(next, F_GETFD) == -1) return 1;
              ::closefrom(next);
              if (::open("/dev/null", O_RDONLY) != next) return 2;
              if (!ReleaseSemaphore(object, 1, nullptr) || !CloseHandle(object)) return 3;
              return ::fcntl(next, F_GETFD) == -1 ? 4 : 0;
            }),
            0);
}

TEST(NamedObjects, AreReplacedWhereKilledProcessesLeftThem) {
  // The file stays in use by a process that has another object open.
  EXPECT_EQ(besideAProcess(nothing,
                           [] {
                             for (int i = 0; i < 3; ++i) {
                               const int code = inNewProcess([] {
                                 const char* const name = "Orla.Test.Left";
                                 CreateSemaphoreA(nullptr, 1, 1, name);
                                 return GetLastError() == ERROR_SUCCESS ? 0 : 1;
                               });
                               if (code != 0) return code;
                             }
                             return 0;
                           }),
            0);
}

}  // namespace orla
