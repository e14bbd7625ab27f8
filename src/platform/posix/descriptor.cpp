#include "platform/posix/descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace orla::posix {

int aboveStandardStreams(int descriptor) noexcept {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  // fcntl() fails with EINVAL if the process may have at most 3 descriptors.
  const int error = errno == EINVAL ? EMFILE : errno;
  ::close(descriptor);
  errno = error;
  return moved;
}

bool isSocket(int descriptor) noexcept {
  int type;
  socklen_t length = sizeof type;
  return ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &length) == 0 ||
         (errno != EBADF && errno != ENOTSOCK);
}

bool isNonBlocking(int descriptor) noexcept {
  const int flags = ::fcntl(descriptor, F_GETFL);
  return flags >= 0 && (flags & O_NONBLOCK) != 0;
}

bool awaitEvents(int descriptor, short events, const Deadline& deadline) noexcept {
  for (;;) {
    ::timespec storage;
    ::pollfd entry{descriptor, events, 0};
    const int ready = ::ppoll(&entry, 1, timeLeft(deadline, storage), nullptr);
    if (ready >= 0) return ready > 0;
    if (errno != EINTR) return true;  // The next call gets the same error and reports it.
  }
}

}  // namespace orla::posix
