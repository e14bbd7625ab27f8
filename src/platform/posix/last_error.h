// The one place where errno becomes a Winsock or system code.
#pragma once

#include "platform/winapi.h"

namespace orla::posix {

/// Returns the Winsock code for the errno of a socket call. A bad descriptor gives WSAENOTSOCK, as on
/// Windows. An errno without a Winsock code gives WSAEINVAL; 0 gives 0.
int winsockCode(int error) noexcept;

/// Returns the system code for the errno of another call; ERROR_GEN_FAILURE for one without a code.
DWORD systemCode(int error) noexcept;

/// Sets the last error and returns SOCKET_ERROR.
int failSocket(int winsockError) noexcept;

/// Sets the last error and returns FALSE.
BOOL fail(DWORD error) noexcept;

}  // namespace orla::posix
