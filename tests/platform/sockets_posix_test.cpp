// What signals, descriptors of high numbers and the system's own ways do to the socket calls.
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <pthread.h>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

#include "SocketTest.h"

namespace orla {
namespace {

/// Interrupts the thread that made it, again and again, with a signal that restarts nothing.
class Interruptions {
 public:
  Interruptions()
      : interrupter_([this, target = ::pthread_self()] {
          while (!stop_) {
            ::pthread_kill(target, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
          }
        }) {}
  ~Interruptions() {
    stop_ = true;
    interrupter_.join();
  }

  static void handle() {
    struct sigaction action {};
    action.sa_handler = [](int) { ++count; };
    ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
    count = 0;
  }
  inline static std::atomic<int> count{0};

 private:
  std::atomic<bool> stop_{false};
  std::thread interrupter_;
};

using SignalTest = ConnectedTest;

TEST_F(SignalTest, InterruptedCallsGoOnAndEndInTime) {
  Interruptions::handle();
  const Interruptions interruptions;
  const auto untilInterrupted = [seen = Interruptions::count.load()] {
    EXPECT_GE(Interruptions::count, seen + 5);
  };
  char byte;
  client_.setOption(SOL_SOCKET, SO_RCVTIMEO, 100);
  EXPECT_EQ(recv(client_, &byte, 1, 0), SOCKET_ERROR);
  EXPECT_EQ(WSAGetLastError(), WSAETIMEDOUT);
  untilInterrupted();

  fd_set set;
  FD_ZERO(&set);
  FD_SET(client_, &set);
  timeval limit{0, 100000};
  EXPECT_EQ(select(0, &set, nullptr, nullptr, &limit), 0);

  client_.setOption(SOL_SOCKET, SO_SNDTIMEO, 100);
  const std::string piece(1 << 20, 'x');
  while (send(client_, piece.data(), static_cast<int>(piece.size()), 0) > 0) {
  }
  EXPECT_EQ(WSAGetLastError(), WSAETIMEDOUT);

  const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(WaitForSingleObject(event, 100), WAIT_TIMEOUT);
  EXPECT_TRUE(CloseHandle(event));
}

TEST_F(SignalTest, InterruptedCallsStillGetWhatComes) {
  Interruptions::handle();
  const Interruptions interruptions;
  const auto afterInterruptions = [](const auto& act) {
    return std::thread([act, seen = Interruptions::count.load()] {
      while (Interruptions::count < seen + 5) std::this_thread::yield();
      act();
    });
  };
  std::thread sender = afterInterruptions([this] { EXPECT_EQ(send(server_, "x", 1, 0), 1); });
  EXPECT_EQ(receive(client_, 1), "x");
  sender.join();

  std::thread connector = afterInterruptions([this] {
    const Socket late = Socket::stream();
    EXPECT_EQ(connectTo(late, addressOf(listener_)), 0);
  });
  listener_.setOption(SOL_SOCKET, SO_RCVTIMEO, 1);  // Limits a receive, not an accept.
  const Socket accepted(accept(listener_, nullptr, nullptr));
  EXPECT_NE(accepted, INVALID_SOCKET);
  connector.join();
}

// A listener with a full queue leaves a connect hanging until the queue has room.
TEST_F(SocketTest, InterruptedConnectIsFinished) {
  const Socket crowded = Socket::stream();
  ASSERT_EQ(bindTo(crowded, loopback(0)), 0);
  ASSERT_EQ(listen(crowded, 0), 0);
  const Socket first = Socket::stream();
  ASSERT_EQ(connectTo(first, addressOf(crowded)), 0);
  Interruptions::handle();
  const Interruptions interruptions;
  std::thread acceptor([&, seen = Interruptions::count.load()] {
    while (Interruptions::count < seen + 5) std::this_thread::yield();
    const Socket one(accept(crowded, nullptr, nullptr));
    const Socket two(accept(crowded, nullptr, nullptr));
  });
  const Socket second = Socket::stream();
  second.setOption(SOL_SOCKET, SO_SNDTIMEO, 1);  // Limits a send, not a connect.
  EXPECT_EQ(connectTo(second, addressOf(crowded)), 0) << WSAGetLastError();
  acceptor.join();
}

TEST_F(ConnectedTest, SelectWatchesDescriptorsOfAnyNumber) {
  constexpr int kHigh = 2000;
  ::rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  ASSERT_GT(limit.rlim_max, static_cast<rlim_t>(kHigh));
  limit.rlim_cur = std::max(limit.rlim_cur, static_cast<rlim_t>(kHigh + 100));
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  const int descriptor = ::fcntl(static_cast<int>(server_), F_DUPFD_CLOEXEC, kHigh);
  ASSERT_GE(descriptor, kHigh);
  const Socket high(static_cast<SOCKET>(descriptor));
  ASSERT_EQ(send(client_, "x", 1, 0), 1);
  fd_set set;
  FD_ZERO(&set);
  FD_SET(high, &set);
  EXPECT_EQ(select(0, &set, nullptr, nullptr, nullptr), 1);
  EXPECT_TRUE(FD_ISSET(high, &set));
}

TEST_F(ConnectedTest, ResetConnectionFailsTheReceive) {
  ASSERT_EQ(send(client_, "unread", 6, 0), 6);
  EXPECT_EQ(receive(server_, 1, MSG_PEEK), "u");
  server_.close();
  char byte;
  EXPECT_EQ(recv(client_, &byte, 1, 0), SOCKET_ERROR);
  EXPECT_EQ(WSAGetLastError(), WSAECONNRESET);
}

// Here the system would say something else, or would just do it.
TEST_F(SocketTest, RefusalsOfTheSystemBecomeWinsocks) {
  const Socket idle = Socket::stream();
  const Socket idleDatagram = Socket::datagram();
  const sockaddr_in address = loopback(1);
  sockaddr_in any = address;
  any.sin_addr.s_addr = INADDR_ANY;
  int plainFile = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  const auto file = static_cast<SOCKET>(plainFile);
  u_long argument = 0;
  const struct {
    const char* what;
    std::function<int()> call;
    int code;
  } rows[] = {
      {"send, unconnected", [&] { return send(idle, "x", 1, 0); }, WSAENOTCONN},
      {"send, unconnected datagram", [&] { return send(idleDatagram, "x", 1, 0); }, WSAENOTCONN},
      {"send, negative length", [&] { return send(idle, "x", -1, 0); }, WSAEFAULT},
      {"send, unknown flag", [&] { return send(idle, "x", 1, 0x40); }, WSAEOPNOTSUPP},
      {"connect, no port", [&] { return connectTo(idle, loopback(0)); }, WSAEADDRNOTAVAIL},
      {"connect, no host", [&] { return connectTo(idle, any); }, WSAEADDRNOTAVAIL},
      {"connect, short address", [&] { return connect(idle, raw(address), 15); }, WSAEFAULT},
      {"bind, short address", [&] { return bind(idle, raw(address), 15); }, WSAEFAULT},
      {"close, a file", [&] { return closesocket(file); }, WSAENOTSOCK},
      {"receive, a file", [&] { return recv(file, nullptr, 0, 0); }, WSAENOTSOCK},
      {"mode, a file", [&] { return ioctlsocket(file, FIONREAD, &argument); }, WSAENOTSOCK},
      {"set the type", [&] { return setsockopt(idle, SOL_SOCKET, SO_TYPE, "1234", 4); },
       WSAENOPROTOOPT},
  };
  for (const auto& row : rows) {
    WSASetLastError(0);
    EXPECT_EQ(row.call(), SOCKET_ERROR) << row.what;
    EXPECT_EQ(WSAGetLastError(), row.code) << row.what;
  }
  EXPECT_EQ(::close(plainFile), 0) << "closesocket left the file open";
}

}  // namespace
}  // namespace orla
