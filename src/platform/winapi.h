// The platform layer: all calls of the operating system that the library makes.
//
// The library is written against the Win32 calls below. On Windows this header includes the
// system's headers and adds nothing. Elsewhere it declares those calls, types and constants, with
// the system's names, types and values, in the library's namespace, and platform/posix/ implements
// them. The comments here are the contract of that port. tests/platform/ checks it on both systems.
//
// Code that uses the platform layer is in namespace orla and names the calls without qualification,
// so that the compiler finds these declarations before the C library's calls of the same name.
#pragma once

#ifdef _WIN32

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <stdio.h>
#include <windows.h>
#include <winsock.h>

#else

#include <cstddef>
#include <cstdint>
#include <cstdlib>

// The C library's macros of these names are for its own sets. Here they are functions.
#undef FD_ISSET
#undef FD_SET
#undef FD_SETSIZE
#undef FD_ZERO

// The calling convention of the system's calls and callbacks. The port has only one.
#define CALLBACK
#define WINAPI
#define PASCAL

namespace orla {

using BOOL = int;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using DWORD = std::uint32_t;
using WORD = std::uint16_t;
using HANDLE = void*;
using u_short = std::uint16_t;
using u_long = std::uint32_t;

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;

// ---------------------------------------------------------------------------------------------
// Last error: one value for each thread. A call that fails sets it. A call that succeeds does not
// change it, unless its comment says so. The socket calls share it: WSAGetLastError() and
// GetLastError() return the same value.
// ---------------------------------------------------------------------------------------------

DWORD GetLastError() noexcept;
void SetLastError(DWORD code) noexcept;

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_NOT_SAME_DEVICE = 17;
inline constexpr DWORD ERROR_WRITE_FAULT = 29;
inline constexpr DWORD ERROR_READ_FAULT = 30;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_DIRECTORY = 267;
inline constexpr DWORD ERROR_NOT_OWNER = 288;
inline constexpr DWORD ERROR_TOO_MANY_POSTS = 298;

// ---------------------------------------------------------------------------------------------
// Threads and critical sections
// ---------------------------------------------------------------------------------------------

/// Returns the identifier of the calling thread: not 0, and unique among the running threads of the
/// system (in the port: of the PID namespace).
DWORD GetCurrentThreadId() noexcept;

/// A recursive lock of one process. It must not be moved between InitializeCriticalSection and
/// DeleteCriticalSection.
struct CRITICAL_SECTION {
  alignas(std::max_align_t) unsigned char storage[64];
};

void InitializeCriticalSection(CRITICAL_SECTION* section);
void EnterCriticalSection(CRITICAL_SECTION* section);
void LeaveCriticalSection(CRITICAL_SECTION* section);
void DeleteCriticalSection(CRITICAL_SECTION* section);

// ---------------------------------------------------------------------------------------------
// Kernel objects: mutex, event, semaphore
//
// Each creating call returns a new handle. If the name is null or empty, the object belongs to this
// process alone. Otherwise all processes of the same user in the same PID namespace that use the
// same name share one object:
// - The first call creates it and sets the last error to 0.
// - Later calls open it, ignore their other arguments, and set the last error to
//   ERROR_ALREADY_EXISTS.
// - A call for another kind of object fails with ERROR_INVALID_HANDLE.
// The object exists while a process has it open. If the last of them closes it or is killed, the
// next call creates a new one. In the port, a process retains what it has closed until it closes its
// last named object. A name has at most 260 characters.
//
// No other user can open, change or block the port's objects. If no directory is safe for them, or
// if their file cannot be created or opened, the named objects of the process are private to it.
// ---------------------------------------------------------------------------------------------

struct SECURITY_ATTRIBUTES;  // Never used: always passed as null.

/// A mutex is recursive and owned by a thread. Returns null on failure.
HANDLE CreateMutexA(SECURITY_ATTRIBUTES* attributes, BOOL initialOwner, const char* name) noexcept;
/// Returns FALSE with ERROR_NOT_OWNER if the calling thread does not own the mutex.
BOOL ReleaseMutex(HANDLE mutex) noexcept;

/// If `manualReset` is set, the event stays signaled until ResetEvent. Returns null on failure.
HANDLE CreateEventA(SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL initialState,
                    const char* name) noexcept;
BOOL SetEvent(HANDLE event) noexcept;
BOOL ResetEvent(HANDLE event) noexcept;

/// Returns null with ERROR_INVALID_PARAMETER unless 0 <= initial <= maximum and maximum > 0.
HANDLE CreateSemaphoreA(SECURITY_ATTRIBUTES* attributes, LONG initial, LONG maximum,
                        const char* name) noexcept;
/// Adds `count` (> 0). Returns FALSE with ERROR_TOO_MANY_POSTS, and adds nothing, if the sum would
/// exceed the maximum. `previous` may be null.
BOOL ReleaseSemaphore(HANDLE semaphore, LONG count, LONG* previous) noexcept;

/// Closes a kernel object or a file. Returns FALSE with ERROR_INVALID_HANDLE for null or
/// INVALID_HANDLE_VALUE. Returns FALSE with ERROR_WRITE_FAULT or ERROR_DISK_FULL if the system
/// reports only now that bytes written to the file were lost; the file is closed anyway.
BOOL CloseHandle(HANDLE handle) noexcept;

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_ABANDONED_0 = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

/// Waits at most `milliseconds` (INFINITE: without limit; 0: not at all) for the object, and then
/// takes it: acquires a mutex, decrements a semaphore, or resets an event that was created without
/// `manualReset`. Returns WAIT_ABANDONED if the mutex was acquired, but its previous owner ended
/// without releasing it. Returns WAIT_FAILED with ERROR_INVALID_HANDLE for an invalid handle.
DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) noexcept;

/// With `waitAll` set: takes all objects or none, and never holds one while it sleeps on another.
/// Returns WAIT_OBJECT_0, or WAIT_ABANDONED_0 plus an index if the mutex of that index was
/// abandoned. The port supports `waitAll` TRUE with up to 8 different objects, of which all but one
/// are mutexes; otherwise it returns WAIT_FAILED with ERROR_INVALID_PARAMETER.
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL waitAll,
                             DWORD milliseconds) noexcept;

// ---------------------------------------------------------------------------------------------
// Files. Paths are byte strings of the system's own encoding.
// ---------------------------------------------------------------------------------------------

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_FLAG_SEQUENTIAL_SCAN = 0x08000000;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
inline constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;

struct OVERLAPPED;  // Never used: always passed as null.

/// Returns INVALID_HANDLE_VALUE on failure. The error is ERROR_PATH_NOT_FOUND if a directory in the
/// path is missing, ERROR_FILE_NOT_FOUND if only the file is missing, and ERROR_ACCESS_DENIED if
/// `name` is a directory. The port does not enforce share modes. Child processes do not inherit the
/// handle.
///
/// The port fails with ERROR_ACCESS_DENIED, without blocking, for
/// - every file that is not a regular file: a device, a FIFO, a socket;
/// - for reading: a file that reports size 0 but has content, as many files of /proc do;
/// - for writing with OPEN_EXISTING, which is how a temporary file is opened: a symbolic link, and
///   a file that belongs to another user or has several names, unless it is the file that the
///   calling thread's last GetTempFileNameA created. Another user who can write to the directory
///   could have created such a file or link there.
HANDLE CreateFileA(const char* name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes,
                   DWORD disposition, DWORD flags, HANDLE pattern) noexcept;
/// Reads once. At the end of the file it returns TRUE and sets `*got` to 0. A read that a signal
/// interrupts is repeated.
BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* got, OVERLAPPED* overlapped) noexcept;
/// Writes all of `size` bytes. On failure returns FALSE with the reason, for example
/// ERROR_DISK_FULL. `*written` is set to the number of bytes written in both cases.
BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written,
               OVERLAPPED* overlapped) noexcept;
/// Waits until the bytes that were written to the file are on the disk. Returns FALSE with
/// ERROR_WRITE_FAULT or ERROR_DISK_FULL if they are lost. The port returns TRUE if the file system
/// does not support this.
BOOL FlushFileBuffers(HANDLE file) noexcept;
/// Returns the low 32 bits of the size and sets `*high`, unless `high` is null, to the high 32
/// bits. Returns INVALID_FILE_SIZE on failure. The low 32 bits of a size can have the same value.
/// The last error is then 0.
DWORD GetFileSize(HANDLE file, DWORD* high) noexcept;
/// Returns FILE_ATTRIBUTE_DIRECTORY for a directory, together with FILE_ATTRIBUTE_READONLY if the
/// user may not write to the directory or file. Returns FILE_ATTRIBUTE_NORMAL for any other file,
/// and INVALID_FILE_ATTRIBUTES on failure, for example if the file does not exist.
DWORD GetFileAttributesA(const char* name) noexcept;
/// Creates an empty file with a new name in `directory`. The name consists of at most three
/// characters of `prefix`, a number that is not 0, and ".tmp". Writes the path to `path`, which has
/// room for 260 bytes or, in the port, for the length of `directory` plus 16. Returns the number,
/// or 0 on failure. The port requires that `unique` is 0, and gives the file the mode 0600,
/// whatever the umask is.
UINT GetTempFileNameA(const char* directory, const char* prefix, UINT unique, char* path) noexcept;
/// Never replaces a file: fails with ERROR_ALREADY_EXISTS if `to` exists.
///
/// The port changes the mode of `from` if the calling thread created it with GetTempFileNameA and
/// opened it for writing with OPEN_EXISTING, and it is the last such file that the thread closed:
/// - If the last file that the thread deleted was `to`, the new file gets the deleted file's mode
///   and group, but never a permission that the deleted file did not give. If the deleted file
///   belonged to another user, the new file gets no permission that the umask takes away.
/// - Otherwise it gets the mode that the umask gives to a new file.
BOOL MoveFileA(const char* from, const char* to) noexcept;
/// Deletes a file. Fails with ERROR_ACCESS_DENIED for a directory. The port deletes only regular
/// files and symbolic links, and a link only if it points to a regular file or to nothing. It fails
/// with ERROR_ACCESS_DENIED for everything else.
BOOL DeleteFileA(const char* name) noexcept;

// ---------------------------------------------------------------------------------------------
// Sockets: Winsock 1.1. Codes, levels and option numbers are Winsock's.
// ---------------------------------------------------------------------------------------------

using SOCKET = std::uint32_t;
inline constexpr SOCKET INVALID_SOCKET = 0xFFFFFFFF;
inline constexpr int SOCKET_ERROR = -1;

struct in_addr {
  u_long s_addr;  // Network byte order.
};
struct sockaddr {
  u_short sa_family;
  char sa_data[14];
};
struct sockaddr_in {
  short sin_family;
  u_short sin_port;  // Network byte order.
  in_addr sin_addr;
  char sin_zero[8];
};
struct hostent {
  char* h_name;
  char** h_aliases;
  short h_addrtype;
  short h_length;
  char** h_addr_list;
};
struct servent {
  char* s_name;
  char** s_aliases;
  short s_port;  // Network byte order.
  char* s_proto;
};
struct timeval {
  std::int32_t tv_sec;
  std::int32_t tv_usec;
};

inline constexpr u_long INADDR_ANY = 0;
inline constexpr u_long INADDR_LOOPBACK = 0x7F000001;
inline constexpr u_long INADDR_NONE = 0xFFFFFFFF;
inline constexpr int AF_UNSPEC = 0;
inline constexpr int AF_INET = 2;
inline constexpr int SOCK_STREAM = 1;
inline constexpr int SOCK_DGRAM = 2;
inline constexpr int SOCK_SEQPACKET = 5;
inline constexpr int IPPROTO_TCP = 6;
inline constexpr int TCP_NODELAY = 1;
inline constexpr int SOL_SOCKET = 0xFFFF;
inline constexpr int SO_REUSEADDR = 0x0004;
inline constexpr int SO_KEEPALIVE = 0x0008;
inline constexpr int SO_BROADCAST = 0x0020;
inline constexpr int SO_LINGER = 0x0080;
inline constexpr int SO_SNDBUF = 0x1001;
inline constexpr int SO_RCVBUF = 0x1002;
inline constexpr int SO_SNDTIMEO = 0x1005;  // Milliseconds, 32-bit; 0 means no limit.
inline constexpr int SO_RCVTIMEO = 0x1006;
inline constexpr int SO_ERROR = 0x1007;  // A Winsock code.
inline constexpr int SO_TYPE = 0x1008;
inline constexpr int MSG_PEEK = 2;
inline constexpr long FIONBIO = static_cast<long>(0x8004667EUL);
inline constexpr long FIONREAD = 0x4004667F;

struct linger {
  u_short l_onoff;
  u_short l_linger;  // Seconds.
};

/// An array of at most FD_SETSIZE sockets, as on Windows. Descriptors of any value fit.
inline constexpr int FD_SETSIZE = 64;
struct fd_set {
  UINT fd_count;
  SOCKET fd_array[FD_SETSIZE];
};
void FD_ZERO(fd_set* set) noexcept;
/// Adds the socket at the end, even if it is in the set already. Does nothing if the set is full.
void FD_SET(SOCKET socket, fd_set* set) noexcept;
int FD_ISSET(SOCKET socket, const fd_set* set) noexcept;

inline constexpr int WSAEINTR = 10004;
inline constexpr int WSAEACCES = 10013;
inline constexpr int WSAEFAULT = 10014;
inline constexpr int WSAEINVAL = 10022;
inline constexpr int WSAEMFILE = 10024;
inline constexpr int WSAEWOULDBLOCK = 10035;
inline constexpr int WSAEINPROGRESS = 10036;
inline constexpr int WSAEALREADY = 10037;
inline constexpr int WSAENOTSOCK = 10038;
inline constexpr int WSAEDESTADDRREQ = 10039;
inline constexpr int WSAEMSGSIZE = 10040;
inline constexpr int WSAEPROTOTYPE = 10041;
inline constexpr int WSAENOPROTOOPT = 10042;
inline constexpr int WSAEPROTONOSUPPORT = 10043;
inline constexpr int WSAESOCKTNOSUPPORT = 10044;
inline constexpr int WSAEOPNOTSUPP = 10045;
inline constexpr int WSAEPFNOSUPPORT = 10046;
inline constexpr int WSAEAFNOSUPPORT = 10047;
inline constexpr int WSAEADDRINUSE = 10048;
inline constexpr int WSAEADDRNOTAVAIL = 10049;
inline constexpr int WSAENETDOWN = 10050;
inline constexpr int WSAENETUNREACH = 10051;
inline constexpr int WSAENETRESET = 10052;
inline constexpr int WSAECONNABORTED = 10053;
inline constexpr int WSAECONNRESET = 10054;
inline constexpr int WSAENOBUFS = 10055;
inline constexpr int WSAEISCONN = 10056;
inline constexpr int WSAENOTCONN = 10057;
inline constexpr int WSAESHUTDOWN = 10058;
inline constexpr int WSAETOOMANYREFS = 10059;
inline constexpr int WSAETIMEDOUT = 10060;
inline constexpr int WSAECONNREFUSED = 10061;
inline constexpr int WSAELOOP = 10062;
inline constexpr int WSAENAMETOOLONG = 10063;
inline constexpr int WSAEHOSTDOWN = 10064;
inline constexpr int WSAEHOSTUNREACH = 10065;
inline constexpr int WSAEUSERS = 10068;
inline constexpr int WSAEDQUOT = 10069;
inline constexpr int WSAESTALE = 10070;
inline constexpr int WSANOTINITIALISED = 10093;
inline constexpr int WSAHOST_NOT_FOUND = 11001;
inline constexpr int WSATRY_AGAIN = 11002;
inline constexpr int WSANO_RECOVERY = 11003;
inline constexpr int WSANO_DATA = 11004;

struct WSADATA {
  WORD wVersion;
  WORD wHighVersion;
  char szDescription[257];
  char szSystemStatus[129];
  u_short iMaxSockets;
  u_short iMaxUdpDg;
  char* lpVendorInfo;
};

/// Counts the starts of this process. Returns 0, or the error itself. The port needs no start, and
/// its socket calls never fail with WSANOTINITIALISED.
int WSAStartup(WORD version, WSADATA* data) noexcept;
/// Returns SOCKET_ERROR with WSANOTINITIALISED if there was no start.
int WSACleanup() noexcept;
int WSAGetLastError() noexcept;
void WSASetLastError(int code) noexcept;

using FARPROC = std::intptr_t(WINAPI*)();
/// Stores a hook for the calling thread and returns the previous one. The port's blocking calls
/// never run it.
FARPROC WSASetBlockingHook(FARPROC hook) noexcept;
/// The port returns SOCKET_ERROR with WSAEINVAL, because no blocking call of the calling thread can
/// be in progress.
int WSACancelBlockingCall() noexcept;

/// Child processes do not inherit sockets. No call below raises SIGPIPE. A call that a signal
/// interrupts is resumed with the remaining time.
SOCKET socket(int family, int type, int protocol) noexcept;
/// A non-blocking connect that is in progress fails with WSAEWOULDBLOCK.
int connect(SOCKET socket, const sockaddr* address, int length) noexcept;
int bind(SOCKET socket, const sockaddr* address, int length) noexcept;
int listen(SOCKET socket, int backlog) noexcept;
/// `address` and `length` may be null.
SOCKET accept(SOCKET socket, sockaddr* address, int* length) noexcept;
/// A blocking receive whose SO_RCVTIMEO expires fails with WSAETIMEDOUT, never WSAEWOULDBLOCK.
/// MSG_PEEK is the only flag, here and below; the port refuses others with WSAEOPNOTSUPP.
int recv(SOCKET socket, char* buffer, int length, int flags) noexcept;
/// The same as recv. A datagram that is longer than the buffer fails with WSAEMSGSIZE.
int recvfrom(SOCKET socket, char* buffer, int length, int flags, sockaddr* from,
             int* fromLength) noexcept;
/// May send fewer bytes than `length`, for instance if a signal interrupts it; the caller sends the
/// rest. Fails with WSAESHUTDOWN after the caller's own shutdown; if the peer has closed the
/// connection as well, the port fails with WSAECONNRESET.
int send(SOCKET socket, const char* buffer, int length, int flags) noexcept;
int sendto(SOCKET socket, const char* buffer, int length, int flags, const sockaddr* to,
           int toLength) noexcept;
/// Shuts down receiving (`how` 0), sending (1) or both (2).
int shutdown(SOCKET socket, int how) noexcept;
int closesocket(SOCKET socket) noexcept;
int setsockopt(SOCKET socket, int level, int option, const char* value, int length) noexcept;
int getsockopt(SOCKET socket, int level, int option, char* value, int* length) noexcept;
/// `command` is FIONBIO or FIONREAD.
int ioctlsocket(SOCKET socket, long command, u_long* argument) noexcept;
int getpeername(SOCKET socket, sockaddr* address, int* length) noexcept;
/// Fails with WSAEINVAL if the socket is not bound.
int getsockname(SOCKET socket, sockaddr* address, int* length) noexcept;
/// Ignores the first argument. Removes the sockets that are not ready from each set, and returns
/// the number of the others. A failed connect is in the except set. Fails with WSAEINVAL if every
/// set is empty or null, and with WSAENOTSOCK for an invalid socket.
int select(int ignored, fd_set* read, fd_set* write, fd_set* except,
           const timeval* timeout) noexcept;

/// The four lookups return storage of the calling thread, which its next lookup replaces. They
/// return null on failure, with WSAHOST_NOT_FOUND, WSATRY_AGAIN, WSANO_RECOVERY or WSANO_DATA. IPv4
/// only. A null `protocol` matches any. The port's storage has 8 KB; a larger answer fails with
/// WSANO_RECOVERY.
hostent* gethostbyname(const char* name) noexcept;
hostent* gethostbyaddr(const char* address, int length, int family) noexcept;
servent* getservbyname(const char* name, const char* protocol) noexcept;
servent* getservbyport(int port, const char* protocol) noexcept;
int gethostname(char* name, int length) noexcept;
/// Returns INADDR_NONE for a text that is not an address. White space ends the address.
u_long inet_addr(const char* text) noexcept;
/// Returns storage of the calling thread, which its next call replaces.
char* inet_ntoa(in_addr address) noexcept;
u_short htons(u_short value) noexcept;
u_short ntohs(u_short value) noexcept;
u_long htonl(u_long value) noexcept;

// ---------------------------------------------------------------------------------------------
// Window messages: the port has none.
// ---------------------------------------------------------------------------------------------

struct MSG {
  UINT message;
};
using HWND = void*;
inline constexpr UINT PM_REMOVE = 1;
/// Returns FALSE if no message is waiting.
BOOL PeekMessageA(MSG* message, HWND window, UINT first, UINT last, UINT remove) noexcept;
BOOL TranslateMessage(const MSG* message) noexcept;
std::intptr_t DispatchMessageA(const MSG* message) noexcept;

// ---------------------------------------------------------------------------------------------
// The runtime's bounded formatter
// ---------------------------------------------------------------------------------------------

/// Writes at most `size` bytes. A text shorter than `size` is written with a terminating zero, and
/// its length is returned. A text of exactly `size` bytes fills the buffer, without a zero, and its
/// length is returned. A longer text fills the buffer in the same way, and -1 is returned. Returns
/// -1 for a null buffer with a size other than 0.
int _snprintf(char* buffer, std::size_t size, const char* format, ...) noexcept
    __attribute__((format(printf, 3, 4)));

}  // namespace orla

#endif
