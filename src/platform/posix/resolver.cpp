#include "platform/winapi.h"

// The door's values of names that the system's headers define their own way.
namespace orla {
namespace {
constexpr u_long kNoAddress = INADDR_NONE;
constexpr short kInternetFamily = AF_INET;
}  // namespace
}  // namespace orla

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <netdb.h>
#include <new>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "platform/posix/last_error.h"

#undef htons
#undef ntohs

namespace orla {

namespace {

/// The calling thread's last answer: the texts and addresses lie in `bytes`, the records point
/// there. The next look-up of the thread replaces it.
struct Answer {
  std::vector<char> bytes;
  hostent host;
  servent service;
};
thread_local Answer answer;

constexpr std::size_t kFirstSize = 1024;
constexpr std::size_t kLargestSize = 1 << 20;

/// Runs `lookUp(bytes, size)`, one of the C library's re-entrant calls, in the thread's storage,
/// which grows while the call says ERANGE. The call's own error, or ENOMEM.
template <typename LookUp>
int lookUpGrowing(LookUp lookUp) noexcept {
  try {
    if (answer.bytes.empty()) answer.bytes.resize(kFirstSize);
    for (;;) {
      const int error = lookUp(answer.bytes.data(), answer.bytes.size());
      if (error != ERANGE || answer.bytes.size() >= kLargestSize) return error;
      answer.bytes.resize(answer.bytes.size() * 2);
    }
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  }
}

int hostCode(int resolverError) noexcept {
  switch (resolverError) {
    case HOST_NOT_FOUND:
      return WSAHOST_NOT_FOUND;
    case TRY_AGAIN:
      return WSATRY_AGAIN;
    case NO_DATA:
      return WSANO_DATA;
    default:
      return WSANO_RECOVERY;
  }
}

hostent* hostAnswer(const ::hostent* found, int error, int resolverError) noexcept {
  if (found == nullptr) {
    WSASetLastError(error == ENOMEM ? WSANO_RECOVERY : hostCode(resolverError));
    return nullptr;
  }
  answer.host = {found->h_name, found->h_aliases, static_cast<short>(found->h_addrtype),
                 static_cast<short>(found->h_length), found->h_addr_list};
  return &answer.host;
}

servent* serviceAnswer(const ::servent* found) noexcept {
  if (found == nullptr) {
    WSASetLastError(WSANO_DATA);
    return nullptr;
  }
  answer.service = {found->s_name, found->s_aliases, static_cast<short>(found->s_port),
                    found->s_proto};
  return &answer.service;
}

}  // namespace

hostent* gethostbyname(const char* name) noexcept {
  char self[257];
  // No name asks for this machine.
  if (name == nullptr || *name == '\0') {
    if (gethostname(self, sizeof self) != 0) return nullptr;
    name = self;
  }
  ::hostent record;
  ::hostent* found = nullptr;
  int resolverError = NO_RECOVERY;
  const int error = lookUpGrowing([&](char* bytes, std::size_t size) {
    return ::gethostbyname2_r(name, kInternetFamily, &record, bytes, size, &found, &resolverError);
  });
  return hostAnswer(found, error, resolverError);
}

hostent* gethostbyaddr(const char* address, int length, int family) noexcept {
  if (address == nullptr || family != kInternetFamily || length < 4) {
    WSASetLastError(family != kInternetFamily ? WSAEAFNOSUPPORT : WSAEFAULT);
    return nullptr;
  }
  ::hostent record;
  ::hostent* found = nullptr;
  int resolverError = NO_RECOVERY;
  const int error = lookUpGrowing([&](char* bytes, std::size_t size) {
    return ::gethostbyaddr_r(address, 4, kInternetFamily, &record, bytes, size, &found,
                             &resolverError);
  });
  return hostAnswer(found, error, resolverError);
}

servent* getservbyname(const char* name, const char* protocol) noexcept {
  ::servent record;
  ::servent* found = nullptr;
  lookUpGrowing([&](char* bytes, std::size_t size) {
    return ::getservbyname_r(name, protocol, &record, bytes, size, &found);
  });
  return serviceAnswer(found);
}

servent* getservbyport(int port, const char* protocol) noexcept {
  ::servent record;
  ::servent* found = nullptr;
  lookUpGrowing([&](char* bytes, std::size_t size) {
    return ::getservbyport_r(port, protocol, &record, bytes, size, &found);
  });
  return serviceAnswer(found);
}

int gethostname(char* name, int length) noexcept {
  // The C library cuts a name that does not fit, some versions of it without a terminator.
  if (name == nullptr || length <= 0 || ::gethostname(name, static_cast<std::size_t>(length)) != 0)
    return posix::failSocket(WSAEFAULT);
  return 0;
}

u_long inet_addr(const char* text) noexcept {
  return text == nullptr ? kNoAddress : static_cast<u_long>(::inet_addr(text));
}

char* inet_ntoa(in_addr address) noexcept {
  thread_local char text[16];
  const u_long bytes = ntohl(address.s_addr);
  std::snprintf(text, sizeof text, "%u.%u.%u.%u", bytes >> 24, (bytes >> 16) & 0xFF,
                (bytes >> 8) & 0xFF, bytes & 0xFF);
  return text;
}

}  // namespace orla
