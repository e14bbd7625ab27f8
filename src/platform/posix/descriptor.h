// File descriptors: which ones the library uses, and waits on them that survive signals.
#pragma once

#include "platform/winapi.h"

#include "platform/posix/deadline.h"

namespace orla::posix {

/// INVALID_SOCKET becomes -1, which every system call refuses as bad.
inline int descriptorOf(SOCKET socket) noexcept {
  return static_cast<int>(socket);
}

/// Moves a new descriptor out of the range 0 to 2 and returns its new number; returns any other
/// descriptor, and -1, unchanged. Fails with -1 and errno, and then closes the descriptor.
///
/// A program that was started with a standard stream closed would otherwise get a file of the
/// library as that stream, and what it prints would overwrite the file. Every call that opens a
/// descriptor passes it through here.
int aboveStandardStreams(int descriptor) noexcept;

/// Returns true if the descriptor is a socket.
bool isSocket(int descriptor) noexcept;

/// Returns true if the calls on the socket return instead of waiting (FIONBIO).
bool isNonBlocking(int descriptor) noexcept;

/// Waits until poll() reports one of `events`, or an error, for the descriptor. Returns false if the
/// deadline passed first. Signals do not end the wait.
bool awaitEvents(int descriptor, short events, const Deadline& deadline) noexcept;

}  // namespace orla::posix
