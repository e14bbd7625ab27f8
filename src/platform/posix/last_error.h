// The one place where the C library's errno becomes the door's codes.
#pragma once

#include "platform/winapi.h"

namespace orla::posix {

/// The Winsock code of a socket call's errno. A bad descriptor is WSAENOTSOCK, as on Windows. An
/// errno without a Winsock code gives WSAEINVAL; 0 gives 0.
int winsockCode(int error) noexcept;

/// The system code of a file or kernel call's errno; ERROR_GEN_FAILURE for one without a code.
DWORD systemCode(int error) noexcept;

/// Sets the last error and returns SOCKET_ERROR.
int failSocket(int winsockError) noexcept;

/// Sets the last error and returns FALSE.
BOOL fail(DWORD error) noexcept;

}  // namespace orla::posix
