// File descriptors: their numbers, their kinds, and waits that a signal does not end.
#pragma once

#include "platform/winapi.h"

#include "platform/posix/deadline.h"

namespace orla::posix {

/// Returns -1 for INVALID_SOCKET. Every system call fails for -1 with EBADF.
inline int descriptorOf(SOCKET socket) noexcept {
  return static_cast<int>(socket);
}

/// Moves a new descriptor from the range 0 to 2 to a higher number, which it returns. Returns any
/// other descriptor, and -1, unchanged. On failure closes the descriptor and returns -1 with errno.
///
/// If a program was started with a standard stream closed, a file that the library opens could
/// otherwise become that stream, and what the program prints would overwrite the file. Every
/// function that opens a descriptor calls this one.
int aboveStandardStreams(int descriptor) noexcept;

/// Returns true if the descriptor is a socket, or if it is open but the kernel does not report its
/// kind, for example because a sandbox forbids it.
bool isSocket(int descriptor) noexcept;

/// Returns true if the socket is in non-blocking mode (FIONBIO).
bool isNonBlocking(int descriptor) noexcept;

/// Waits until poll() reports one of `events`, or an error, for the descriptor. Returns false if
/// the deadline passed first. Signals do not end the wait.
bool awaitEvents(int descriptor, short events, const Deadline& deadline) noexcept;

}  // namespace orla::posix
