#include "platform/posix/last_error.h"

#include <cerrno>

namespace orla {

namespace {

constinit thread_local DWORD lastError = ERROR_SUCCESS;

}  // namespace

DWORD GetLastError() noexcept {
  return lastError;
}

void SetLastError(DWORD code) noexcept {
  lastError = code;
}

int WSAGetLastError() noexcept {
  return static_cast<int>(lastError);
}

void WSASetLastError(int code) noexcept {
  lastError = static_cast<DWORD>(code);
}

namespace posix {

int winsockCode(int error) noexcept {
  switch (error) {
    case 0:
      return 0;
    case EINTR:
      return WSAEINTR;
    case EACCES:
    case EPERM:
      return WSAEACCES;
    case EFAULT:
      return WSAEFAULT;
    case EMFILE:
    case ENFILE:
      return WSAEMFILE;
    case EAGAIN:
      return WSAEWOULDBLOCK;
    case EINPROGRESS:
      return WSAEINPROGRESS;
    case EALREADY:
      return WSAEALREADY;
    case EBADF:
    case ENOTSOCK:
      return WSAENOTSOCK;
    case EDESTADDRREQ:
      return WSAEDESTADDRREQ;
    case EMSGSIZE:
      return WSAEMSGSIZE;
    case EPROTOTYPE:
      return WSAEPROTOTYPE;
    case ENOPROTOOPT:
      return WSAENOPROTOOPT;
    case EPROTONOSUPPORT:
      return WSAEPROTONOSUPPORT;
    case ESOCKTNOSUPPORT:
      return WSAESOCKTNOSUPPORT;
    case EOPNOTSUPP:
      return WSAEOPNOTSUPP;
    case EPFNOSUPPORT:
      return WSAEPFNOSUPPORT;
    case EAFNOSUPPORT:
      return WSAEAFNOSUPPORT;
    case EADDRINUSE:
      return WSAEADDRINUSE;
    case EADDRNOTAVAIL:
      return WSAEADDRNOTAVAIL;
    case ENETDOWN:
      return WSAENETDOWN;
    case ENETUNREACH:
      return WSAENETUNREACH;
    case ENETRESET:
      return WSAENETRESET;
    case ECONNABORTED:
      return WSAECONNABORTED;
    case ECONNRESET:
      return WSAECONNRESET;
    case ENOBUFS:
    case ENOMEM:
      return WSAENOBUFS;
    case EISCONN:
      return WSAEISCONN;
    case ENOTCONN:
      return WSAENOTCONN;
    case EPIPE:
    case ESHUTDOWN:
      return WSAESHUTDOWN;
    case ETOOMANYREFS:
      return WSAETOOMANYREFS;
    case ETIMEDOUT:
      return WSAETIMEDOUT;
    case ECONNREFUSED:
      return WSAECONNREFUSED;
    case ELOOP:
      return WSAELOOP;
    case ENAMETOOLONG:
      return WSAENAMETOOLONG;
    case EHOSTDOWN:
      return WSAEHOSTDOWN;
    case EHOSTUNREACH:
      return WSAEHOSTUNREACH;
    case EUSERS:
      return WSAEUSERS;
    case EDQUOT:
      return WSAEDQUOT;
    case ESTALE:
      return WSAESTALE;
    default:
      return WSAEINVAL;
  }
}

DWORD win32Code(int error) noexcept {
  switch (error) {
    case 0:
      return ERROR_SUCCESS;
    case ENOENT:
      return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
      return ERROR_PATH_NOT_FOUND;
    case EMFILE:
    case ENFILE:
      return ERROR_TOO_MANY_OPEN_FILES;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case ETXTBSY:
    // A handle always has a valid descriptor, so EBADF means that the file is not open for reading
    // or for writing.
    case EBADF:
      return ERROR_ACCESS_DENIED;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case EXDEV:
      return ERROR_NOT_SAME_DEVICE;
    case EBUSY:
      return ERROR_SHARING_VIOLATION;
    case EEXIST:
    case ENOTEMPTY:
      return ERROR_ALREADY_EXISTS;
    case EINVAL:
      return ERROR_INVALID_PARAMETER;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return ERROR_DISK_FULL;
    case ENAMETOOLONG:
      return ERROR_FILENAME_EXCED_RANGE;
    default:
      return ERROR_GEN_FAILURE;
  }
}

int failSocket(int winsockError) noexcept {
  WSASetLastError(winsockError);
  return SOCKET_ERROR;
}

BOOL fail(DWORD error) noexcept {
  SetLastError(error);
  return FALSE;
}

}  // namespace posix
}  // namespace orla
