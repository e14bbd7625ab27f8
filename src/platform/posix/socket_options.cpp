#include "platform/posix/winsock_values.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "platform/posix/descriptor.h"
#include "platform/posix/last_error.h"

namespace orla {

namespace winsock = posix::winsock;
using posix::descriptorOf;
using posix::failSocket;
using posix::winsockCode;

namespace {

/// How the value of an option differs between Winsock and the kernel.
enum class Form { kNumber, kBuffer, kMilliseconds, kLinger, kError, kReadOnly };

struct Option {
  int level;
  int name;
  int systemLevel;
  int systemName;
  Form form;
};

constexpr Option kOptions[] = {
    {winsock::kSocketLevel, winsock::kReceiveTimeout, SOL_SOCKET, SO_RCVTIMEO, Form::kMilliseconds},
    {winsock::kSocketLevel, winsock::kSendTimeout, SOL_SOCKET, SO_SNDTIMEO, Form::kMilliseconds},
    {winsock::kSocketLevel, winsock::kType, SOL_SOCKET, SO_TYPE, Form::kReadOnly},
    {winsock::kSocketLevel, winsock::kError, SOL_SOCKET, SO_ERROR, Form::kError},
    {winsock::kSocketLevel, winsock::kReuseAddress, SOL_SOCKET, SO_REUSEADDR, Form::kNumber},
    {winsock::kSocketLevel, winsock::kKeepAlive, SOL_SOCKET, SO_KEEPALIVE, Form::kNumber},
    {winsock::kSocketLevel, winsock::kBroadcast, SOL_SOCKET, SO_BROADCAST, Form::kNumber},
    {winsock::kSocketLevel, winsock::kLinger, SOL_SOCKET, SO_LINGER, Form::kLinger},
    {winsock::kSocketLevel, winsock::kSendBuffer, SOL_SOCKET, SO_SNDBUF, Form::kBuffer},
    {winsock::kSocketLevel, winsock::kReceiveBuffer, SOL_SOCKET, SO_RCVBUF, Form::kBuffer},
    {winsock::kTcpLevel, winsock::kNoDelay, IPPROTO_TCP, TCP_NODELAY, Form::kNumber},
};

const Option* findOption(int level, int name) {
  const auto* found =
      std::find_if(std::begin(kOptions), std::end(kOptions),
                   [=](const Option& row) { return row.level == level && row.name == name; });
  return found == std::end(kOptions) ? nullptr : found;
}

/// Fails because the option does not exist or cannot be set. Fails with WSAENOTSOCK if the
/// descriptor is not a socket, and with WSAENOPROTOOPT otherwise.
int failNoOption(int descriptor) {
  return failSocket(posix::isSocket(descriptor) ? WSAENOPROTOOPT : WSAENOTSOCK);
}

template <typename Value>
int setSystemOption(int descriptor, const Option& option, const Value& value) {
  const int result = ::setsockopt(descriptor, option.systemLevel, option.systemName, &value,
                                  static_cast<socklen_t>(sizeof value));
  return result == 0 ? 0 : failSocket(winsockCode(errno));
}

template <typename Value>
bool getSystemOption(int descriptor, const Option& option, Value& value) {
  socklen_t length = sizeof value;
  if (::getsockopt(descriptor, option.systemLevel, option.systemName, &value, &length) == 0)
    return true;
  failSocket(winsockCode(errno));
  return false;
}

template <typename Value>
int copyValue(const Value& from, char* value, int* length) {
  std::memcpy(value, &from, sizeof from);
  *length = sizeof from;
  return 0;
}

}  // namespace

int setsockopt(SOCKET socket, int level, int name, const char* value, int length) noexcept {
  const int descriptor = descriptorOf(socket);
  const Option* option = findOption(level, name);
  if (option == nullptr) return failNoOption(descriptor);
  // Both forms of a value, a 32-bit number and a pair of 16-bit ones, have four bytes.
  static_assert(sizeof(linger) == sizeof(std::uint32_t));
  if (value == nullptr || length < static_cast<int>(sizeof(std::uint32_t)))
    return failSocket(WSAEFAULT);
  std::uint32_t number;
  std::memcpy(&number, value, sizeof number);
  switch (option->form) {
    case Form::kMilliseconds:
      return setSystemOption(descriptor, *option,
                             ::timeval{number / 1000, (number % 1000) * 1000L});
    case Form::kLinger: {
      linger wanted;
      std::memcpy(&wanted, value, sizeof wanted);
      return setSystemOption(descriptor, *option, ::linger{wanted.l_onoff, wanted.l_linger});
    }
    case Form::kNumber:
    case Form::kBuffer:
      return setSystemOption(descriptor, *option, static_cast<int>(number));
    case Form::kError:
    case Form::kReadOnly:
      break;
  }
  return failNoOption(descriptor);
}

int getsockopt(SOCKET socket, int level, int name, char* value, int* length) noexcept {
  const int descriptor = descriptorOf(socket);
  const Option* option = findOption(level, name);
  if (option == nullptr) return failNoOption(descriptor);
  if (value == nullptr || length == nullptr || *length < static_cast<int>(sizeof(std::uint32_t)))
    return failSocket(WSAEFAULT);
  if (option->form == Form::kMilliseconds) {
    ::timeval limit{};
    if (!getSystemOption(descriptor, *option, limit)) return SOCKET_ERROR;
    return copyValue(static_cast<DWORD>(limit.tv_sec * 1000 + limit.tv_usec / 1000), value, length);
  }
  if (option->form == Form::kLinger) {
    ::linger found{};
    if (!getSystemOption(descriptor, *option, found)) return SOCKET_ERROR;
    return copyValue(
        linger{static_cast<u_short>(found.l_onoff), static_cast<u_short>(found.l_linger)}, value,
        length);
  }
  int found = 0;
  if (!getSystemOption(descriptor, *option, found)) return SOCKET_ERROR;
  if (option->form == Form::kError) found = winsockCode(found);
  // The kernel doubles the size of a buffer for its own bookkeeping, and reports the double.
  if (option->form == Form::kBuffer) found /= 2;
  return copyValue(found, value, length);
}

int ioctlsocket(SOCKET socket, long command, u_long* argument) noexcept {
  const int descriptor = descriptorOf(socket);
  if (argument == nullptr) return failSocket(WSAEFAULT);
  // ioctl() would also change the mode of a file or a pipe.
  if (!posix::isSocket(descriptor)) return failSocket(WSAENOTSOCK);
  int value = *argument != 0 ? 1 : 0;
  int result;
  if (command == winsock::kNonBlocking) {
    result = ::ioctl(descriptor, FIONBIO, &value);
  } else if (command == winsock::kReadable) {
    result = ::ioctl(descriptor, FIONREAD, &value);
    if (result == 0) *argument = static_cast<u_long>(value);
  } else {
    return failSocket(WSAEINVAL);
  }
  return result == 0 ? 0 : failSocket(winsockCode(errno));
}

}  // namespace orla
