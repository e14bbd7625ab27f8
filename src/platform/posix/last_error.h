// The one place where errno becomes a Winsock or Win32 code.
#pragma once

#include "platform/winapi.h"

namespace orla::posix {

/// Returns the Winsock code for the errno of a socket call. A bad descriptor gives WSAENOTSOCK, as
/// on Windows. An errno without a Winsock code gives WSAEINVAL; 0 gives 0.
int winsockCode(int error) noexcept;

/// Returns the Win32 code for the errno of a call that does not concern sockets. An errno without a
/// Win32 code gives ERROR_GEN_FAILURE.
DWORD win32Code(int error) noexcept;

/// Sets the last error and returns SOCKET_ERROR.
int failSocket(int winsockError) noexcept;

/// Sets the last error and returns FALSE.
BOOL fail(DWORD error) noexcept;

}  // namespace orla::posix
