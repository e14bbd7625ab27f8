#include "platform/posix/winsock_values.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "platform/posix/descriptor.h"
#include "platform/posix/last_error.h"

namespace orla {

using posix::Clock;
using posix::Deadline;
using posix::descriptorOf;
using posix::failSocket;
using posix::winsockCode;
using posix::winsock::kInternetFamily;

namespace {

constexpr int kSupportedFlags = posix::winsock::kPeek;

// Addresses and flags are passed to the kernel unchanged.
static_assert(sizeof(sockaddr_in) == sizeof(::sockaddr_in) && kInternetFamily == AF_INET);
static_assert(kSupportedFlags == MSG_PEEK);
static_assert(SHUT_RD == 0 && SHUT_WR == 1 && SHUT_RDWR == 2);

constexpr int kAddressSize = sizeof(sockaddr_in);

const ::sockaddr* systemAddress(const sockaddr* address) {
  return reinterpret_cast<const ::sockaddr*>(address);
}

/// Returns 0 if the address is one to send to, connect to or bind to. Otherwise returns the Winsock
/// code of the failure.
int addressError(const sockaddr* address, int length) {
  if (address == nullptr || length < kAddressSize) return WSAEFAULT;
  return address->sa_family == kInternetFamily ? 0 : WSAEAFNOSUPPORT;
}

/// Copies an address to the caller's buffer, which must be large enough.
void copyAddress(const ::sockaddr_in& from, sockaddr* address, int* length) {
  std::memcpy(address, &from, sizeof from);
  *length = kAddressSize;
}

/// Returns the deadline of a call that began at `start`. `option` is the socket option that limits
/// the call, SO_RCVTIMEO or SO_SNDTIMEO.
Deadline optionDeadline(int descriptor, int option, Clock::time_point start) {
  ::timeval limit{};
  socklen_t length = sizeof limit;
  if (::getsockopt(descriptor, SOL_SOCKET, option, &limit, &length) != 0) return {};
  if (limit.tv_sec == 0 && limit.tv_usec == 0) return {};
  return start + std::chrono::seconds(limit.tv_sec) + std::chrono::microseconds(limit.tv_usec);
}

/// The events for which a kind of transfer waits, and the option that limits it.
struct Transfer {
  short events;
  int timeoutOption;
};
constexpr Transfer kReceive{POLLIN, SO_RCVTIMEO};
constexpr Transfer kSend{POLLOUT, SO_SNDTIMEO};

/// Calls `call`, which returns a count, or -1 with errno. If a signal interrupts it, waits until
/// the socket is ready or the timeout expires, and then calls it again. Returns the count. On
/// failure returns SOCKET_ERROR with the Winsock code of errno.
template <typename Call>
int transfer(int descriptor, const Transfer& kind, Call call) {
  const Clock::time_point start = Clock::now();
  for (;;) {
    const ssize_t count = call();
    if (count >= 0) return static_cast<int>(count);
    if (errno == EINTR) {
      const Deadline deadline = optionDeadline(descriptor, kind.timeoutOption, start);
      if (posix::awaitEvents(descriptor, kind.events, deadline)) continue;
      return failSocket(WSAETIMEDOUT);
    }
    // EAGAIN means that a non-blocking call would block, or that a blocking call timed out.
    if (errno == EAGAIN)
      return failSocket(posix::isNonBlocking(descriptor) ? WSAEWOULDBLOCK : WSAETIMEDOUT);
    return failSocket(winsockCode(errno));
  }
}

/// Receives for recv and recvfrom. Calls recvmsg, because only recvmsg reports that a datagram was
/// longer than the buffer.
int receive(SOCKET socket, char* buffer, int length, int flags, ::sockaddr_in* from,
            int* fromLength) {
  if (length < 0) return failSocket(WSAEFAULT);
  if ((flags & ~kSupportedFlags) != 0) return failSocket(WSAEOPNOTSUPP);
  const int descriptor = descriptorOf(socket);
  ::iovec piece{buffer, static_cast<std::size_t>(length)};
  ::msghdr message{};
  const int count = transfer(descriptor, kReceive, [&] {
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_name = from;
    message.msg_namelen = from != nullptr ? sizeof *from : 0;
    return ::recvmsg(descriptor, &message, flags);
  });
  if (count == SOCKET_ERROR) return count;
  if (fromLength != nullptr) *fromLength = static_cast<int>(message.msg_namelen);
  return (message.msg_flags & MSG_TRUNC) != 0 ? failSocket(WSAEMSGSIZE) : count;
}

/// Returns the Winsock code of a send that failed with EPIPE:
/// - WSAESHUTDOWN if the caller has shut down sending,
/// - WSAECONNRESET if the peer has reset the connection, or if both sides have closed it, which the
///   kernel does not distinguish,
/// - WSAENOTCONN if the socket was never connected.
int brokenPipeCode(int descriptor) {
  ::tcp_info info{};
  socklen_t length = sizeof info;
  if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &length) != 0 ||
      info.tcpi_state != TCP_CLOSE)
    return WSAESHUTDOWN;
  ::pollfd state{descriptor, POLLRDHUP, 0};
  ::poll(&state, 1, 0);
  return (state.revents & POLLRDHUP) != 0 ? WSAECONNRESET : WSAENOTCONN;
}

int sendBytes(SOCKET socket, const char* buffer, int length, int flags, const sockaddr* to,
              int toLength) {
  if (length < 0) return failSocket(WSAEFAULT);
  if ((flags & ~kSupportedFlags) != 0) return failSocket(WSAEOPNOTSUPP);
  const int descriptor = descriptorOf(socket);
  bool brokenPipe = false;
  const int count = transfer(descriptor, kSend, [&] {
    const ssize_t sent =
        ::sendto(descriptor, buffer, static_cast<std::size_t>(length), flags | MSG_NOSIGNAL,
                 systemAddress(to), static_cast<socklen_t>(toLength));
    brokenPipe = sent < 0 && errno == EPIPE;
    return sent;
  });
  return brokenPipe ? failSocket(brokenPipeCode(descriptor)) : count;
}

/// Waits, without a timeout, until a connect that is in progress has ended. Returns 0 if it
/// succeeded, and SOCKET_ERROR otherwise.
int finishConnect(int descriptor) {
  posix::awaitEvents(descriptor, POLLOUT, {});
  int error = 0;
  socklen_t length = sizeof error;
  if (::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &length) != 0) error = errno;
  return error == 0 ? 0 : failSocket(winsockCode(error));
}

/// Returns true if the socket has a local port. Also returns true if the kernel does not report the
/// port, so that the next call fails with the reason.
bool isBound(int descriptor) {
  ::sockaddr_in address{};
  socklen_t length = sizeof address;
  return ::getsockname(descriptor, reinterpret_cast<::sockaddr*>(&address), &length) != 0 ||
         address.sin_port != 0;
}

}  // namespace

SOCKET socket(int family, int type, int protocol) noexcept {
  if (family != kInternetFamily) return static_cast<SOCKET>(failSocket(WSAEAFNOSUPPORT));
  // The types have the same numbers as in the kernel. A larger number could be one of its flags.
  if (type < SOCK_STREAM || type > SOCK_SEQPACKET)
    return static_cast<SOCKET>(failSocket(WSAESOCKTNOSUPPORT));
  const int descriptor =
      posix::aboveStandardStreams(::socket(PF_INET, type | SOCK_CLOEXEC, protocol));
  if (descriptor < 0) return static_cast<SOCKET>(failSocket(winsockCode(errno)));
  return static_cast<SOCKET>(descriptor);
}

int connect(SOCKET socket, const sockaddr* address, int length) noexcept {
  if (const int error = addressError(address, length)) return failSocket(error);
  const int descriptor = descriptorOf(socket);
  ::sockaddr_in target;
  std::memcpy(&target, address, sizeof target);
  // The any-address is not the address of a peer. The kernel would connect to the loopback address.
  if (target.sin_addr.s_addr == 0 || target.sin_port == 0)
    return failSocket(posix::isSocket(descriptor) ? WSAEADDRNOTAVAIL : WSAENOTSOCK);
  if (::connect(descriptor, systemAddress(address), kAddressSize) == 0) return 0;
  // The connect goes on after a signal, after the send timeout, and on a non-blocking socket. The
  // send timeout does not limit a connect, so a blocking socket waits for its end.
  if (errno == EINTR || errno == EINPROGRESS)
    return posix::isNonBlocking(descriptor) ? failSocket(WSAEWOULDBLOCK)
                                            : finishConnect(descriptor);
  return failSocket(winsockCode(errno));
}

int bind(SOCKET socket, const sockaddr* address, int length) noexcept {
  if (const int error = addressError(address, length)) return failSocket(error);
  const int result = ::bind(descriptorOf(socket), systemAddress(address), kAddressSize);
  return result == 0 ? 0 : failSocket(winsockCode(errno));
}

int listen(SOCKET socket, int backlog) noexcept {
  // The kernel would bind an unbound socket to a port of its own choice.
  if (!isBound(descriptorOf(socket))) return failSocket(WSAEINVAL);
  return ::listen(descriptorOf(socket), backlog) == 0 ? 0 : failSocket(winsockCode(errno));
}

SOCKET accept(SOCKET socket, sockaddr* address, int* length) noexcept {
  const bool wantsAddress = address != nullptr && length != nullptr;
  if (wantsAddress && *length < kAddressSize) return static_cast<SOCKET>(failSocket(WSAEFAULT));
  const int descriptor = descriptorOf(socket);
  // The accepted socket gets the blocking mode of the listening socket.
  const bool nonBlocking = posix::isNonBlocking(descriptor);
  const int flags = SOCK_CLOEXEC | (nonBlocking ? SOCK_NONBLOCK : 0);
  for (;;) {
    ::sockaddr_in peer{};
    socklen_t size = sizeof peer;
    const int accepted = posix::aboveStandardStreams(
        ::accept4(descriptor, reinterpret_cast<::sockaddr*>(&peer), &size, flags));
    if (accepted >= 0) {
      if (wantsAddress) copyAddress(peer, address, length);
      return static_cast<SOCKET>(accepted);
    }
    // The wait goes on if a signal interrupted it, if the peer closed the connection before it was
    // accepted, or if the receive timeout expired, which does not limit an accept.
    if (errno == EINTR || errno == ECONNABORTED || (errno == EAGAIN && !nonBlocking)) continue;
    return static_cast<SOCKET>(failSocket(winsockCode(errno)));
  }
}

int recv(SOCKET socket, char* buffer, int length, int flags) noexcept {
  return receive(socket, buffer, length, flags, nullptr, nullptr);
}

int recvfrom(SOCKET socket, char* buffer, int length, int flags, sockaddr* from,
             int* fromLength) noexcept {
  if (from == nullptr || fromLength == nullptr)
    return receive(socket, buffer, length, flags, nullptr, nullptr);
  if (*fromLength < kAddressSize) return failSocket(WSAEFAULT);
  ::sockaddr_in sender{};
  int senderLength = 0;
  const int count = receive(socket, buffer, length, flags, &sender, &senderLength);
  // A stream has no sender's address, so the caller's buffer is left unchanged. A datagram that was
  // longer than the buffer has one.
  if (senderLength == kAddressSize) copyAddress(sender, from, fromLength);
  return count;
}

int send(SOCKET socket, const char* buffer, int length, int flags) noexcept {
  const int count = sendBytes(socket, buffer, length, flags, nullptr, 0);
  // A send has no destination argument, so the caller must connect the socket first.
  if (count == SOCKET_ERROR && WSAGetLastError() == WSAEDESTADDRREQ) return failSocket(WSAENOTCONN);
  return count;
}

int sendto(SOCKET socket, const char* buffer, int length, int flags, const sockaddr* to,
           int toLength) noexcept {
  if (to == nullptr) return send(socket, buffer, length, flags);
  if (const int error = addressError(to, toLength)) return failSocket(error);
  return sendBytes(socket, buffer, length, flags, to, kAddressSize);
}

int shutdown(SOCKET socket, int how) noexcept {
  return ::shutdown(descriptorOf(socket), how) == 0 ? 0 : failSocket(winsockCode(errno));
}

int closesocket(SOCKET socket) noexcept {
  const int descriptor = descriptorOf(socket);
  // The number may be that of a file, which must not be closed.
  if (!posix::isSocket(descriptor)) return failSocket(WSAENOTSOCK);
  // The socket is closed even if close() fails: a signal ends only the wait for unsent data.
  ::close(descriptor);
  return 0;
}

int getpeername(SOCKET socket, sockaddr* address, int* length) noexcept {
  if (address == nullptr || length == nullptr || *length < kAddressSize)
    return failSocket(WSAEFAULT);
  ::sockaddr_in peer{};
  socklen_t size = sizeof peer;
  if (::getpeername(descriptorOf(socket), reinterpret_cast<::sockaddr*>(&peer), &size) != 0)
    return failSocket(winsockCode(errno));
  copyAddress(peer, address, length);
  return 0;
}

int getsockname(SOCKET socket, sockaddr* address, int* length) noexcept {
  if (address == nullptr || length == nullptr || *length < kAddressSize)
    return failSocket(WSAEFAULT);
  ::sockaddr_in self{};
  socklen_t size = sizeof self;
  if (::getsockname(descriptorOf(socket), reinterpret_cast<::sockaddr*>(&self), &size) != 0)
    return failSocket(winsockCode(errno));
  // The kernel returns an address with port 0 for an unbound socket.
  if (self.sin_port == 0) return failSocket(WSAEINVAL);
  copyAddress(self, address, length);
  return 0;
}

}  // namespace orla
