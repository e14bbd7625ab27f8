#include "PlatformTest.h"

#include <fcntl.h>
#include <random>
#include <sys/resource.h>
#include <unistd.h>

#include "ChildProcess.h"
#include "support/TempDir.h"

namespace orla {

/// Expects that none of the standard streams in the bit set `closed` is open again, and that an
/// executed program would inherit no other descriptor.
static void expectDescriptors(unsigned closed, const char* what) {
  for (unsigned stream = 0; stream <= 2; ++stream) {
    const bool isOpen = ::fcntl(static_cast<int>(stream), F_GETFD) != -1;
    EXPECT_FALSE((closed >> stream & 1) != 0 && isOpen) << what << ", stream " << stream;
  }
  for (int descriptor = 3; descriptor < 64; ++descriptor) {
    const int flags = ::fcntl(descriptor, F_GETFD);
    EXPECT_TRUE(flags == -1 || (flags & FD_CLOEXEC) != 0) << what << ", inherits " << descriptor;
  }
}

/// Opens one of everything while the standard streams in the bit set `closed` are closed.
static void openEverything(unsigned closed, const test::TempDir& folder) {
  ::closefrom(3);
  for (int stream = 0; stream <= 2; ++stream)
    if ((closed >> stream & 1) != 0) ::close(stream);
  char temporary[1000];
  const HANDLE old = openExisting(folder.path("old"), GENERIC_READ);
  EXPECT_NE(old, INVALID_HANDLE_VALUE);
  expectDescriptors(closed, "file");
  EXPECT_NE(GetTempFileNameA(folder.path().c_str(), "t", 0, temporary), 0U);
  const HANDLE file = openExisting(temporary, GENERIC_WRITE);
  EXPECT_NE(file, INVALID_HANDLE_VALUE);
  expectDescriptors(closed, "temporary file");
  const Connection connection;
  expectDescriptors(closed, "sockets");
  const std::string name = "Orla.Test.Streams@" + std::to_string(std::random_device()());
  const HANDLE object = CreateMutexA(nullptr, FALSE, name.c_str());
  EXPECT_NE(object, nullptr);
  expectDescriptors(closed, "mutex");
  // The end of the last named object opens its file once more.
  for (const HANDLE handle : {object, file, old}) EXPECT_TRUE(CloseHandle(handle));
  expectDescriptors(closed, "closed handles");
}

TEST(Descriptors, AreNeverThoseOfTheStandardStreams) {
  for (unsigned closed = 0; closed < 8; ++closed) {
    const test::TempDir folder;
    folder.write("old", "text");
    EXPECT_EQ(checkInChild([&] { openEverything(closed, folder); }), 0) << "closed: " << closed;
    EXPECT_EQ(folder.read("old"), "text");
  }
}

/// Opens one of everything where only descriptor 0 is free, so that nothing can be moved out of the
/// range of the standard streams.
static void openWithoutRoom(rlim_t most, const test::TempDir& folder) {
  ::closefrom(3);
  Connection connection;
  const Socket waiting;  // For accept().
  EXPECT_EQ(connection.connectFrom(waiting), 0);
  for (auto taken = 3; static_cast<rlim_t>(taken) < most; ++taken)
    if (::fcntl(taken, F_GETFD) == -1) {
      EXPECT_EQ(::dup3(1, taken, O_CLOEXEC), taken);
    }
  // The sanitizers need descriptors at their first sight of a mutex.
  const char* const name = "Orla.Test.NoRoom";
  EXPECT_TRUE(CloseHandle(CreateMutexA(nullptr, FALSE, name)));
  const ::rlimit limit{most, most};
  EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit) + ::close(0), 0);

  char temporary[1000];
  EXPECT_EQ(openExisting(folder.path("old"), GENERIC_READ), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_TOO_MANY_OPEN_FILES);
  EXPECT_EQ(GetTempFileNameA(folder.path().c_str(), "t", 0, temporary), 0U);
  EXPECT_EQ(GetLastError(), ERROR_TOO_MANY_OPEN_FILES);
  EXPECT_EQ(socket(AF_INET, SOCK_STREAM, 0), INVALID_SOCKET);
  EXPECT_EQ(WSAGetLastError(), WSAEMFILE);
  EXPECT_EQ(accept(connection.listener_, nullptr, nullptr), INVALID_SOCKET);
  EXPECT_EQ(WSAGetLastError(), WSAEMFILE);
  EXPECT_TRUE(CloseHandle(CreateMutexA(nullptr, FALSE, name))) << "no private mutex";
  expectDescriptors(1, "mutex");
}

TEST(Descriptors, FailWhereOnlyThoseOfTheStandardStreamsAreLeft) {
  for (const rlim_t most : {3U, 8U}) {
    const test::TempDir folder;
    folder.write("old", "text");
    EXPECT_EQ(checkInChild([&] { openWithoutRoom(most, folder); }), 0) << "limit: " << most;
    EXPECT_EQ(folder.names(), std::set<std::string>{"old"}) << "a temporary file was left";
  }
}

}  // namespace orla
