#include <fcntl.h>
#include <random>
#include <sys/resource.h>
#include <unistd.h>

#include "ChildProcess.h"
#include "PlatformTest.h"
#include "support/TempDir.h"

namespace orla {

static int limitDescriptors(rlim_t most) {
  const ::rlimit limit{most, most};
  return ::setrlimit(RLIMIT_NOFILE, &limit);
}

static HANDLE openExisting(const std::string& path, DWORD access) {
  return CreateFileA(path.c_str(), access, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

/// Whether one of the standard streams in the bit set `closed` is open again.
static bool isTaken(unsigned closed) {
  for (int stream = 0; stream <= 2; ++stream)
    if ((closed >> stream & 1) != 0 && ::fcntl(stream, F_GETFD) != -1) return true;
  return false;
}

/// Opens one of everything while the standard streams in the bit set `closed` are closed. Returns 0,
/// or the line of what failed or took the place of a standard stream.
static int openEverything(unsigned closed, const test::TempDir& folder) {
  for (int stream = 0; stream <= 2; ++stream)
    if ((closed >> stream & 1) != 0) ::close(stream);
  const std::string name = "Orla.Test.Streams@" + std::to_string(std::random_device()());
  char temporary[1000];
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const where = reinterpret_cast<sockaddr*>(&address);
  int length = sizeof address;

  if (openExisting(folder.path("old"), GENERIC_READ) == INVALID_HANDLE_VALUE) return __LINE__;
  if (isTaken(closed)) return __LINE__;
  if (GetTempFileNameA(folder.path().c_str(), "t", 0, temporary) == 0) return __LINE__;
  if (openExisting(temporary, GENERIC_WRITE) == INVALID_HANDLE_VALUE) return __LINE__;
  if (isTaken(closed)) return __LINE__;
  const SOCKET listener = socket(AF_INET, SOCK_STREAM, 0);
  if (bind(listener, where, length) != 0 || listen(listener, 1) != 0) return __LINE__;
  if (isTaken(closed)) return __LINE__;
  const SOCKET client = socket(AF_INET, SOCK_STREAM, 0);
  if (getsockname(listener, where, &length) != 0 || connect(client, where, length) != 0)
    return __LINE__;
  if (accept(listener, nullptr, nullptr) == INVALID_SOCKET) return __LINE__;
  if (isTaken(closed)) return __LINE__;
  const HANDLE mutex = CreateMutexA(nullptr, FALSE, (name + "m").c_str());
  if (!mutex || isTaken(closed)) return __LINE__;
  const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, (name + "e").c_str());
  if (!event || isTaken(closed)) return __LINE__;
  const HANDLE semaphore = CreateSemaphoreA(nullptr, 0, 1, (name + "s").c_str());
  if (!semaphore || isTaken(closed)) return __LINE__;
  // The end of a named object opens its file once more.
  return CloseHandle(mutex) && CloseHandle(event) && CloseHandle(semaphore) && !isTaken(closed)
             ? 0
             : __LINE__;
}

TEST(Descriptors, AreNeverThoseOfTheStandardStreams) {
  for (unsigned closed = 0; closed < 8; ++closed) {
    const test::TempDir folder;
    folder.write("old", "text");
    EXPECT_EQ(inChild([&] { return openEverything(closed, folder); }), 0) << "closed: " << closed;
    EXPECT_EQ(folder.read("old"), "text");
  }
}

/// Opens one of everything where only descriptor 0 is free, so that nothing can be moved out of the
/// range of the standard streams. Returns 0, or the line of what did not fail with its code.
static int openWithoutRoom(rlim_t most, const test::TempDir& folder) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const where = reinterpret_cast<sockaddr*>(&address);
  int length = sizeof address;
  const SOCKET listener = socket(AF_INET, SOCK_STREAM, 0), client = socket(AF_INET, SOCK_STREAM, 0);
  if (bind(listener, where, length) != 0 || listen(listener, 1) != 0) return __LINE__;
  if (getsockname(listener, where, &length) != 0 || connect(client, where, length) != 0)
    return __LINE__;
  for (auto taken = 3; static_cast<rlim_t>(taken) < most; ++taken)
    if (::fcntl(taken, F_GETFD) == -1 && ::dup2(1, taken) != taken) return __LINE__;
  // The sanitizers need descriptors at their first sight of a mutex.
  const char* const name = "Orla.Test.NoRoom";
  if (!CloseHandle(CreateMutexA(nullptr, FALSE, name))) return __LINE__;
  if (limitDescriptors(most) != 0 || ::close(0) != 0) return __LINE__;

  char temporary[1000];
  const std::string old = folder.path("old");
  if (openExisting(old, GENERIC_READ) != INVALID_HANDLE_VALUE) return __LINE__;
  if (GetLastError() != ERROR_TOO_MANY_OPEN_FILES) return __LINE__;
  if (GetTempFileNameA(folder.path().c_str(), "t", 0, temporary) != 0) return __LINE__;
  if (GetLastError() != ERROR_TOO_MANY_OPEN_FILES) return __LINE__;
  if (socket(AF_INET, SOCK_STREAM, 0) != INVALID_SOCKET) return __LINE__;
  if (WSAGetLastError() != WSAEMFILE) return __LINE__;
  if (accept(listener, nullptr, nullptr) != INVALID_SOCKET) return __LINE__;
  if (WSAGetLastError() != WSAEMFILE) return __LINE__;
  // The mutex is private to the process then.
  const HANDLE mutex = CreateMutexA(nullptr, FALSE, name);
  return mutex != nullptr && CloseHandle(mutex) && !isTaken(1) ? 0 : __LINE__;
}

TEST(Descriptors, FailWhereOnlyThoseOfTheStandardStreamsAreLeft) {
  for (const rlim_t most : {3U, 8U}) {
    const test::TempDir folder;
    folder.write("old", "text");
    EXPECT_EQ(inChild([&] { return openWithoutRoom(most, folder); }), 0) << "limit: " << most;
    EXPECT_EQ(folder.names(), std::set<std::string>{"old"}) << "a temporary file was left";
  }
}

}  // namespace orla
