#include "platform/winapi.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <linux/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include "platform/posix/descriptor.h"
#include "platform/posix/last_error.h"

#undef FD_ISSET
#undef FD_SET
#undef FD_SETSIZE
#undef FD_ZERO

namespace orla {

using posix::Clock;
using posix::Deadline;
using posix::failSocket;
using posix::timeLeft;

namespace {

constexpr int kTcp = 6;
constexpr std::uint8_t kTcpClosed = 7;  // tcp_info's state of a connection that is over.

enum Purpose { kRead, kWrite, kExcept, kPurposes };

constexpr short kWanted[kPurposes] = {POLLIN, POLLOUT, POLLPRI};

/// Returns true if the error on a socket is that of a failed connect, and false if it is that of a
/// broken connection. A broken connection was established before, so a byte of it was acknowledged
/// (its SYN), or a round trip was measured. Does not read SO_ERROR, because that would clear the
/// error before the agent reads it.
bool isFailedConnect(int descriptor) {
  ::tcp_info info{};
  socklen_t length = sizeof info;
  constexpr socklen_t kNeeded = offsetof(::tcp_info, tcpi_bytes_acked) + sizeof(std::uint64_t);
  return ::getsockopt(descriptor, kTcp, TCP_INFO, &info, &length) == 0 && length >= kNeeded &&
         info.tcpi_state == kTcpClosed && info.tcpi_bytes_acked == 0 && info.tcpi_rtt == 0;
}

/// Returns true if what poll() reported makes a socket ready for its purpose.
bool isReady(const ::pollfd& entry, Purpose purpose) {
  const bool error = (entry.revents & POLLERR) != 0;
  switch (purpose) {
    case kRead:
      // After a hang-up, orderly or not, and after an error a receive returns at once.
      return (entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
    case kWrite:
      return (entry.revents & (POLLOUT | POLLERR)) != 0 && !(error && isFailedConnect(entry.fd));
    default:
      return (entry.revents & POLLPRI) != 0 || (error && isFailedConnect(entry.fd));
  }
}

/// The sockets of the three sets, in order, as entries for poll().
class Watch {
 public:
  Watch(fd_set* read, fd_set* write, fd_set* except) : sets_{read, write, except} {
    for (std::size_t purpose = kRead; purpose < kPurposes; ++purpose) {
      const fd_set* set = sets_[purpose];
      for (UINT i = 0; set != nullptr && i < set->fd_count; ++i)
        add({posix::descriptorOf(set->fd_array[i]), kWanted[purpose], 0});
    }
  }

  bool isEmpty() const { return count_ == 0; }

  /// Waits once, and returns what poll() returns.
  int wait(const Deadline& deadline) {
    ::timespec storage;
    return ::ppoll(entries_.data(), static_cast<nfds_t>(count_), timeLeft(deadline, storage),
                   nullptr);
  }

  /// Returns true if a set contains INVALID_SOCKET, whose descriptor poll() would ignore.
  bool hasInvalidSocket() const { return hasInvalidSocket_; }

  bool hasClosedSocket() const {
    return std::any_of(entries_.begin(), entries_.begin() + count_,
                       [](const ::pollfd& entry) { return (entry.revents & POLLNVAL) != 0; });
  }

  /// Marks the ready entries and returns their number. If poll() reports an entry for a reason that
  /// its set does not ask for, stops watching the entry, because poll() would report it again at
  /// once.
  int markReady() {
    int ready = 0;
    std::size_t i = 0;
    for (std::size_t purpose = kRead; purpose < kPurposes; ++purpose) {
      const fd_set* set = sets_[purpose];
      for (UINT k = 0; set != nullptr && k < set->fd_count; ++k, ++i) {
        ready_[i] = isReady(entries_[i], static_cast<Purpose>(purpose));
        if (ready_[i])
          ++ready;
        else if (entries_[i].revents != 0)
          entries_[i].fd = -1;
      }
    }
    return ready;
  }

  /// Removes from each set the sockets that are not ready, and keeps the order of the others.
  void reduceSets() {
    std::size_t i = 0;
    for (fd_set* set : sets_) {
      if (set == nullptr) continue;
      UINT kept = 0;
      for (UINT k = 0; k < set->fd_count; ++k, ++i)
        if (ready_[i]) set->fd_array[kept++] = set->fd_array[k];
      set->fd_count = kept;
    }
  }

 private:
  void add(const ::pollfd& entry) {
    entries_[static_cast<std::size_t>(count_++)] = entry;
    hasInvalidSocket_ = hasInvalidSocket_ || entry.fd < 0;
  }

  std::array<fd_set*, kPurposes> sets_;
  std::array<::pollfd, kPurposes * FD_SETSIZE> entries_;
  std::array<bool, kPurposes * FD_SETSIZE> ready_{};
  std::ptrdiff_t count_ = 0;
  bool hasInvalidSocket_ = false;
};

bool isValid(const fd_set* set) {
  return set == nullptr || set->fd_count <= FD_SETSIZE;
}

}  // namespace

int select(int, fd_set* read, fd_set* write, fd_set* except, const timeval* timeout) noexcept {
  if (!isValid(read) || !isValid(write) || !isValid(except)) return failSocket(WSAEINVAL);
  Watch watch(read, write, except);
  if (watch.isEmpty()) return failSocket(WSAEINVAL);
  if (watch.hasInvalidSocket()) return failSocket(WSAENOTSOCK);
  Deadline deadline;
  if (timeout != nullptr) {
    if (timeout->tv_sec < 0 || timeout->tv_usec < 0) return failSocket(WSAEINVAL);
    deadline = Clock::now() + std::chrono::seconds(timeout->tv_sec) +
               std::chrono::microseconds(timeout->tv_usec);
  }
  for (;;) {
    const int reported = watch.wait(deadline);
    if (reported < 0) {
      if (errno == EINTR) continue;
      return failSocket(posix::winsockCode(errno));
    }
    if (watch.hasClosedSocket()) return failSocket(WSAENOTSOCK);
    const int ready = watch.markReady();
    if (ready == 0 && reported != 0) continue;
    watch.reduceSets();
    return ready;
  }
}

void FD_ZERO(fd_set* set) noexcept {
  set->fd_count = 0;
}

void FD_SET(SOCKET socket, fd_set* set) noexcept {
  if (set->fd_count < FD_SETSIZE) set->fd_array[set->fd_count++] = socket;
}

int FD_ISSET(SOCKET socket, const fd_set* set) noexcept {
  const SOCKET* const end = set->fd_array + set->fd_count;
  return std::find(set->fd_array, end, socket) != end ? 1 : 0;
}

}  // namespace orla
