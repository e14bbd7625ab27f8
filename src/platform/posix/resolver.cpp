#include "platform/posix/winsock_values.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <netdb.h>
#include <sys/socket.h>
#include <type_traits>
#include <unistd.h>

#include "platform/posix/last_error.h"

#undef htonl

namespace orla {

using posix::winsock::kInternetFamily;
using posix::winsock::kNoAddress;

namespace {

/// The last answer to the calling thread: the texts and addresses are in `bytes`, and the records
/// point there. The next lookup of the thread replaces it. It has no destructor, because one that
/// runs when a thread ends would prevent the unloading of the library, and a lookup in an exit
/// handler of the process would use freed storage.
struct Answer {
  char bytes[8192];
  hostent host;
  servent service;
};
static_assert(std::is_trivially_destructible_v<Answer>);
constinit thread_local Answer answer{};

int hostCode(int resolverError) noexcept {
  switch (resolverError) {
    case HOST_NOT_FOUND:
      return WSAHOST_NOT_FOUND;
    case TRY_AGAIN:
      return WSATRY_AGAIN;
    case NO_DATA:
      return WSANO_DATA;
    // Among others, an answer that does not fit into the storage.
    default:
      return WSANO_RECOVERY;
  }
}

hostent* hostAnswer(const ::hostent* found, int resolverError) noexcept {
  if (found == nullptr) {
    WSASetLastError(hostCode(resolverError));
    return nullptr;
  }
  answer.host = {found->h_name, found->h_aliases, static_cast<short>(found->h_addrtype),
                 static_cast<short>(found->h_length), found->h_addr_list};
  return &answer.host;
}

servent* serviceAnswer(const ::servent* found, int error) noexcept {
  if (found == nullptr) {
    WSASetLastError(error == ERANGE ? WSANO_RECOVERY : WSANO_DATA);
    return nullptr;
  }
  answer.service = {found->s_name, found->s_aliases, static_cast<short>(found->s_port),
                    found->s_proto};
  return &answer.service;
}

}  // namespace

hostent* gethostbyname(const char* name) noexcept {
  char self[257];
  // A null or empty name means this machine.
  if (name == nullptr || *name == '\0') {
    if (gethostname(self, sizeof self) != 0) return nullptr;
    name = self;
  }
  ::hostent record;
  ::hostent* found = nullptr;
  int resolverError = NO_RECOVERY;
  ::gethostbyname2_r(name, kInternetFamily, &record, answer.bytes, sizeof answer.bytes, &found,
                     &resolverError);
  return hostAnswer(found, resolverError);
}

hostent* gethostbyaddr(const char* address, int length, int family) noexcept {
  if (address == nullptr || family != kInternetFamily || length < 4) {
    WSASetLastError(family != kInternetFamily ? WSAEAFNOSUPPORT : WSAEFAULT);
    return nullptr;
  }
  ::hostent record;
  ::hostent* found = nullptr;
  int resolverError = NO_RECOVERY;
  ::gethostbyaddr_r(address, 4, kInternetFamily, &record, answer.bytes, sizeof answer.bytes, &found,
                    &resolverError);
  return hostAnswer(found, resolverError);
}

servent* getservbyname(const char* name, const char* protocol) noexcept {
  ::servent record;
  ::servent* found = nullptr;
  const int error =
      ::getservbyname_r(name, protocol, &record, answer.bytes, sizeof answer.bytes, &found);
  return serviceAnswer(found, error);
}

servent* getservbyport(int port, const char* protocol) noexcept {
  ::servent record;
  ::servent* found = nullptr;
  const int error =
      ::getservbyport_r(port, protocol, &record, answer.bytes, sizeof answer.bytes, &found);
  return serviceAnswer(found, error);
}

int gethostname(char* name, int length) noexcept {
  // A name that does not fit, which is ENAMETOOLONG here, is WSAEFAULT on Windows.
  if (name == nullptr || length <= 0 || ::gethostname(name, static_cast<std::size_t>(length)) != 0)
    return posix::failSocket(WSAEFAULT);
  return 0;
}

u_long inet_addr(const char* text) noexcept {
  if (text == nullptr) return kNoAddress;
  // Fast path: inet_pton() accepts only a.b.c.d, but is several times faster than inet_addr().
  ::in_addr address;
  if (::inet_pton(kInternetFamily, text, &address) == 1) return address.s_addr;
  return static_cast<u_long>(::inet_addr(text));
}

char* inet_ntoa(in_addr address) noexcept {
  constinit thread_local char text[16] = {};
  const u_long bytes = htonl(address.s_addr);
  std::snprintf(text, sizeof text, "%u.%u.%u.%u", bytes >> 24, (bytes >> 16) & 0xFF,
                (bytes >> 8) & 0xFF, bytes & 0xFF);
  return text;
}

}  // namespace orla
