#include "PlatformTest.h"

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

namespace orla {

// The calls are interrupted again and again by a signal that restarts nothing. A listener with a
// full queue leaves a connect, which the send time-out does not limit, hanging until there is room.
TEST_F(SocketTest, InterruptedCallsGoOnAndEndInTime) {
  static std::atomic<int> count{0};
  struct sigaction action {};
  action.sa_handler = [](int) { ++count; };
  ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
  std::jthread interrupter([target = ::pthread_self()](const std::stop_token& stop) {
    for (; !stop.stop_requested(); std::this_thread::sleep_for(std::chrono::milliseconds(3)))
      ::pthread_kill(target, SIGUSR1);
  });
  client_.setOption(SO_RCVTIMEO, 100);
  EXPECT_EQ(client_.receive(), WSAETIMEDOUT);
  fd_set set{1, {client_}};
  timeval limit{0, 100000};
  EXPECT_EQ(select(0, &set, nullptr, nullptr, &limit), 0);
  client_.setOption(SO_SNDTIMEO, 100);
  const std::string piece(1 << 20, 'x');
  while (send(client_, piece.data(), static_cast<int>(piece.size()), 0) > 0) continue;
  EXPECT_EQ(WSAGetLastError(), WSAETIMEDOUT);
  const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(WaitForSingleObject(event, 100), WAIT_TIMEOUT);
  CloseHandle(event);

  const Socket first, second;
  ASSERT_EQ(listen(listener_, 0) + connectFrom(first), 0);
  const std::jthread acceptor([&, seen = count.load()] {
    while (count < seen + 5) std::this_thread::yield();
    for (int i = 0; i < 2; ++i) Socket(accept(listener_, nullptr, nullptr)).close();
  });
  second.setOption(SO_SNDTIMEO, 1);
  EXPECT_EQ(connectFrom(second), 0);
}

TEST_F(SocketTest, SelectWatchesDescriptorsOfAnyNumber) {
  constexpr int kHigh = 2000;
  ::rlimit limit{kHigh + 100, kHigh + 100};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  const Socket high(static_cast<SOCKET>(::fcntl(static_cast<int>(server_), F_DUPFD, kHigh)));
  ASSERT_EQ(send(client_, "x", 1, 0), 1);
  fd_set set{1, {high}};
  EXPECT_EQ(select(0, &set, nullptr, nullptr, nullptr), 1);
}

// Here the system would say something else, or would just do it.
TEST_F(SocketTest, RefusalsOfTheSystemBecomeWinsocks) {
  const Socket idle;
  const int plainFile = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  const auto file = static_cast<SOCKET>(plainFile);
  u_long on = 1;
  address_.sin_addr.s_addr = INADDR_ANY;
  EXPECT_EQ(connectFrom(idle), WSAEADDRNOTAVAIL);
  EXPECT_EQ(codeOf(send(idle, "x", 1, 0)), WSAENOTCONN);
  EXPECT_EQ(codeOf(send(idle, "x", 1, 0x40)), WSAEOPNOTSUPP);
  EXPECT_EQ(codeOf(ioctlsocket(file, FIONBIO, &on)), WSAENOTSOCK);
  EXPECT_EQ(::fcntl(plainFile, F_GETFL) & O_NONBLOCK, 0);
  EXPECT_EQ(codeOf(closesocket(file)), WSAENOTSOCK);
  // Another part of the program closed the socket, and a file has its number now.
  const auto reused = static_cast<int>(socket(AF_INET, SOCK_STREAM, 0));
  ASSERT_EQ(::dup2(plainFile, reused), reused);
  EXPECT_EQ(codeOf(closesocket(static_cast<SOCKET>(reused))), WSAENOTSOCK);
  EXPECT_EQ(::close(reused), 0) << "closesocket closed the file";
  EXPECT_EQ(::close(plainFile), 0) << "closesocket closed the file";
}

}  // namespace orla
