// What the socket calls share: descriptors behind SOCKETs and waits that survive signals.
#pragma once

#include "platform/winapi.h"

#include "platform/posix/deadline.h"

namespace orla::posix {

/// INVALID_SOCKET becomes -1, which every system call refuses as bad.
inline int descriptorOf(SOCKET socket) noexcept {
  return static_cast<int>(socket);
}

/// Whether the descriptor is a socket's.
bool isSocket(int descriptor) noexcept;

/// Whether the socket's calls return instead of waiting (FIONBIO).
bool isNonBlocking(int descriptor) noexcept;

/// Waits until one of poll()'s `events`, or an error, shows on the descriptor. False when the
/// deadline passed first. Signals do not end the wait.
bool awaitEvents(int descriptor, short events, const Deadline& deadline) noexcept;

}  // namespace orla::posix
