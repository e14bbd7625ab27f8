#include "platform/winapi.h"

// The door's values of names that the system's headers define their own way.
namespace orla {
namespace {
namespace door {
constexpr int kSocketLevel = SOL_SOCKET;
constexpr int kTcpLevel = IPPROTO_TCP;
constexpr int kNoDelay = TCP_NODELAY;
constexpr int kReuseAddress = SO_REUSEADDR;
constexpr int kKeepAlive = SO_KEEPALIVE;
constexpr int kBroadcast = SO_BROADCAST;
constexpr int kLinger = SO_LINGER;
constexpr int kSendBuffer = SO_SNDBUF;
constexpr int kReceiveBuffer = SO_RCVBUF;
constexpr int kSendTimeout = SO_SNDTIMEO;
constexpr int kReceiveTimeout = SO_RCVTIMEO;
constexpr int kError = SO_ERROR;
constexpr int kType = SO_TYPE;
constexpr long kNonBlocking = FIONBIO;
constexpr long kReadable = FIONREAD;
}  // namespace door
}  // namespace
}  // namespace orla

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

using posix::descriptorOf;
using posix::failSocket;
using posix::winsockCode;

namespace {

/// How an option's value differs between the door and the system.
enum class Form { number, buffer, milliseconds, linger, error, readOnly };

struct Option {
  int level;
  int name;
  int systemLevel;
  int systemName;
  Form form;
};

constexpr Option kOptions[] = {
    {door::kSocketLevel, door::kReceiveTimeout, SOL_SOCKET, SO_RCVTIMEO, Form::milliseconds},
    {door::kSocketLevel, door::kSendTimeout, SOL_SOCKET, SO_SNDTIMEO, Form::milliseconds},
    {door::kSocketLevel, door::kType, SOL_SOCKET, SO_TYPE, Form::readOnly},
    {door::kSocketLevel, door::kError, SOL_SOCKET, SO_ERROR, Form::error},
    {door::kSocketLevel, door::kReuseAddress, SOL_SOCKET, SO_REUSEADDR, Form::number},
    {door::kSocketLevel, door::kKeepAlive, SOL_SOCKET, SO_KEEPALIVE, Form::number},
    {door::kSocketLevel, door::kBroadcast, SOL_SOCKET, SO_BROADCAST, Form::number},
    {door::kSocketLevel, door::kLinger, SOL_SOCKET, SO_LINGER, Form::linger},
    {door::kSocketLevel, door::kSendBuffer, SOL_SOCKET, SO_SNDBUF, Form::buffer},
    {door::kSocketLevel, door::kReceiveBuffer, SOL_SOCKET, SO_RCVBUF, Form::buffer},
    {door::kTcpLevel, door::kNoDelay, IPPROTO_TCP, TCP_NODELAY, Form::number},
};

const Option* findOption(int level, int name) {
  const auto* found =
      std::find_if(std::begin(kOptions), std::end(kOptions),
                   [=](const Option& row) { return row.level == level && row.name == name; });
  return found == std::end(kOptions) ? nullptr : found;
}

/// Why there is no such option: WSAENOTSOCK goes before WSAENOPROTOOPT.
int noOption(int descriptor) {
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
int giveValue(const Value& from, char* value, int* length) {
  std::memcpy(value, &from, sizeof from);
  *length = sizeof from;
  return 0;
}

}  // namespace

int setsockopt(SOCKET socket, int level, int name, const char* value, int length) noexcept {
  const int descriptor = descriptorOf(socket);
  const Option* option = findOption(level, name);
  if (option == nullptr) return noOption(descriptor);
  // Both forms of a value, a 32-bit number and a pair of 16-bit ones, have four bytes.
  static_assert(sizeof(linger) == sizeof(std::uint32_t));
  if (value == nullptr || length < static_cast<int>(sizeof(std::uint32_t)))
    return failSocket(WSAEFAULT);
  std::uint32_t number;
  std::memcpy(&number, value, sizeof number);
  switch (option->form) {
    case Form::milliseconds:
      return setSystemOption(descriptor, *option,
                             ::timeval{number / 1000, (number % 1000) * 1000L});
    case Form::linger: {
      linger wanted;
      std::memcpy(&wanted, value, sizeof wanted);
      return setSystemOption(descriptor, *option, ::linger{wanted.l_onoff, wanted.l_linger});
    }
    case Form::number:
    case Form::buffer:
      return setSystemOption(descriptor, *option, static_cast<int>(number));
    case Form::error:
    case Form::readOnly:
      break;
  }
  return noOption(descriptor);
}

int getsockopt(SOCKET socket, int level, int name, char* value, int* length) noexcept {
  const int descriptor = descriptorOf(socket);
  const Option* option = findOption(level, name);
  if (option == nullptr) return noOption(descriptor);
  if (value == nullptr || length == nullptr || *length < static_cast<int>(sizeof(std::uint32_t)))
    return failSocket(WSAEFAULT);
  if (option->form == Form::milliseconds) {
    ::timeval limit{};
    if (!getSystemOption(descriptor, *option, limit)) return SOCKET_ERROR;
    return giveValue(static_cast<DWORD>(limit.tv_sec * 1000 + limit.tv_usec / 1000), value, length);
  }
  if (option->form == Form::linger) {
    ::linger found{};
    if (!getSystemOption(descriptor, *option, found)) return SOCKET_ERROR;
    return giveValue(
        linger{static_cast<u_short>(found.l_onoff), static_cast<u_short>(found.l_linger)}, value,
        length);
  }
  int found = 0;
  if (!getSystemOption(descriptor, *option, found)) return SOCKET_ERROR;
  if (option->form == Form::error) found = winsockCode(found);
  // The system doubles a buffer's size for its own bookkeeping and reports the double.
  if (option->form == Form::buffer) found /= 2;
  return giveValue(found, value, length);
}

int ioctlsocket(SOCKET socket, long command, u_long* argument) noexcept {
  const int descriptor = descriptorOf(socket);
  if (argument == nullptr) return failSocket(WSAEFAULT);
  // The system would change a file's or a pipe's mode too.
  if (!posix::isSocket(descriptor)) return failSocket(WSAENOTSOCK);
  int value = *argument != 0 ? 1 : 0;
  int result;
  if (command == door::kNonBlocking) {
    result = ::ioctl(descriptor, FIONBIO, &value);
  } else if (command == door::kReadable) {
    result = ::ioctl(descriptor, FIONREAD, &value);
    if (result == 0) *argument = static_cast<u_long>(value);
  } else {
    return failSocket(WSAEINVAL);
  }
  return result == 0 ? 0 : failSocket(winsockCode(errno));
}

}  // namespace orla
