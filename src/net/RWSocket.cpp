#include "net/RWSocket.h"

#include "platform/winapi.h"

#include <algorithm>
#include <optional>

#include "net/RWNetErrors.h"
#include "net/RWSockAddrFactory.h"
#include "net/ReceiveString.h"

namespace orla {

namespace {

// The member functions have the same names as the system's calls. These are the system's calls.
constexpr auto sysAccept = &accept;
constexpr auto sysBind = &bind;
constexpr auto sysConnect = &connect;
constexpr auto sysGetpeername = &getpeername;
constexpr auto sysGetsockname = &getsockname;
constexpr auto sysGetsockopt = &getsockopt;
constexpr auto sysListen = &listen;
constexpr auto sysRecv = &recv;
constexpr auto sysRecvfrom = &recvfrom;
constexpr auto sysSend = &send;
constexpr auto sysSendto = &sendto;
constexpr auto sysSetsockopt = &setsockopt;
constexpr auto sysShutdown = &shutdown;
constexpr auto sysSocket = &socket;

constexpr int kReceiveBuffer = 4096;

/// Receives a raw address from the system.
class ReceivedAddress {
 public:
  sockaddr* bytes() noexcept { return reinterpret_cast<sockaddr*>(raw_.bytes.data()); }
  int* length() noexcept { return &raw_.length; }

  /// Returns false if the system returned no address.
  bool isGiven() noexcept { return raw_.length > 0 && bytes()->sa_family != AF_UNSPEC; }

  RWSockAddr address(int type) {
    raw_.length = std::min(raw_.length, RWRawSockAddr::kCapacity);
    return RWSockAddrFactory::instance().makeFromRaw(raw_, type);
  }

 private:
  RWRawSockAddr raw_{.length = RWRawSockAddr::kCapacity};
};

[[noreturn]] void raiseLastError(const char* operation) {
  const int code = WSAGetLastError();  // Read it first, because the throw may change it.
  throw RWSocketError(operation, code);
}

void check(int result, const char* operation) {
  if (result != 0) raiseLastError(operation);
}

/// Throws the last error, unless it is WSAEWOULDBLOCK.
void raiseUnlessWouldBlock(const char* operation) {
  if (WSAGetLastError() != WSAEWOULDBLOCK) raiseLastError(operation);
}

/// Returns the number of bytes that a call transferred, 0 if it would block. Throws the last error
/// otherwise.
int transferred(int result, const char* operation) {
  if (result != SOCKET_ERROR) return result;
  raiseUnlessWouldBlock(operation);
  return 0;
}

/// Sets the error for a negative length, which must not reach the system: some systems treat it as
/// a large unsigned one.
int failBadLength() {
  WSASetLastError(WSAEFAULT);
  return SOCKET_ERROR;
}

const sockaddr* bytesOf(const RWRawSockAddr& raw) {
  return reinterpret_cast<const sockaddr*>(raw.bytes.data());
}

int typeOf(const RWSocket& socket) {
  int type = 0;
  int length = sizeof type;
  socket.getsockopt(SOL_SOCKET, SO_TYPE, &type, &length);
  return type;
}

/// Connects or binds with `call`, and creates the socket first if there is none. `tolerated` is an
/// error code that does not count as a failure.
template <class Call>
void connectOrBind(RWSocket& socket, const RWSockAddrBase& address, Call call,
                   const char* operation, std::optional<int> tolerated = std::nullopt) {
  const bool wasValid = socket.isValid();
  const RWSockKind asked = address.kind();
  if (wasValid) {
    const RWSockKind current{asked.family, typeOf(socket), asked.protocol};
    if (current.type != asked.type) throw RWSockTypeChangeError(current.text(), asked.text());
  }
  const RWRawSockAddr raw = address.raw();  // First, because a lookup may throw.
  if (!wasValid) socket.socket(asked);

  if (call(socket.handle(), bytesOf(raw), raw.length) == 0) return;
  const int code = WSAGetLastError();
  if (!wasValid) {
    closesocket(socket.handle());
    socket = RWSocket();
  }
  if (code != tolerated) throw RWSocketError(operation, code);
}

}  // namespace

void RWSocket::socket(const RWSockKind& kind) {
  const SOCKET made = sysSocket(kind.family, kind.type, kind.protocol);
  if (made == INVALID_SOCKET) raiseLastError("RWSocket::socket");
  handle_ = made;
}

void RWSocket::connect(const RWSockAddrBase& address) {
  connectOrBind(*this, address, sysConnect, "RWSocket::connect", WSAEWOULDBLOCK);
}

void RWSocket::bind(const RWSockAddrBase& address) {
  connectOrBind(*this, address, sysBind, "RWSocket::bind");
}

void RWSocket::listen(int backlog) const {
  check(sysListen(handle_, backlog), "RWSocket::listen");
}

RWSocket RWSocket::accept(RWSockAddr* peer) const {
  ReceivedAddress raw;
  const SOCKET accepted =
      sysAccept(handle_, peer ? raw.bytes() : nullptr, peer ? raw.length() : nullptr);
  if (accepted == INVALID_SOCKET) {
    raiseUnlessWouldBlock("RWSocket::accept");
    return RWSocket();
  }
  if (peer) {
    try {
      *peer = raw.address(SOCK_STREAM);
    } catch (...) {
      closesocket(accepted);
      throw;
    }
  }
  return RWSocket(accepted);
}

int RWSocket::recv(char* buffer, int length, int flags, bool* more) const {
  const int got = length < 0 ? failBadLength() : sysRecv(handle_, buffer, length, flags);
  if (more) *more = got != 0;
  return transferred(got, "RWSocket::recv");
}

RWCString RWSocket::recv() const {
  return receiveString([this](char* buffer, int size) { return recv(buffer, size); });
}

int RWSocket::recvfrom(char* buffer, int length, RWSockAddr* from, int flags, bool* more) const {
  ReceivedAddress raw;
  const int got = length < 0
                      ? failBadLength()
                      : sysRecvfrom(handle_, buffer, length, flags, from ? raw.bytes() : nullptr,
                                    from ? raw.length() : nullptr);
  if (more) *more = got != 0;
  const int count = transferred(got, "RWSocket::recvfrom");
  if (from)
    *from = got != SOCKET_ERROR && raw.isGiven() ? raw.address(typeOf(*this)) : RWSockAddr();
  return count;
}

int RWSocket::send(const char* buffer, int length, int flags) const {
  const int sent = length < 0 ? failBadLength() : sysSend(handle_, buffer, length, flags);
  return transferred(sent, "RWSocket::send");
}

int RWSocket::sendto(const char* buffer, int length, const RWSockAddrBase& to, int flags) const {
  const RWRawSockAddr raw = to.raw();
  const int sent = length < 0 ? failBadLength()
                              : sysSendto(handle_, buffer, length, flags, bytesOf(raw), raw.length);
  return transferred(sent, "RWSocket::sendto");
}

int RWSocket::recvFully(char* buffer, int length, int atLeast) const {
  int done = 0;
  while (done < atLeast) {
    const int got = done < length ? recv(buffer + done, length - done) : 0;
    if (got == 0) throw RWNetCantRecvError();
    done += got;
  }
  return done;
}

RWCString RWSocket::recvFully(int atLeast) const {
  const int size = std::max(atLeast, kReceiveBuffer);
  RWCString text(static_cast<std::size_t>(size), '\0');
  text.resize(static_cast<std::size_t>(recvFully(text.data(), size, atLeast)));
  return text;
}

int RWSocket::sendFully(const char* buffer, int length, int atLeast) const {
  int done = 0;
  while (done < atLeast) {
    const int sent = done < length ? send(buffer + done, length - done) : 0;
    if (sent == 0) throw RWNetCantSendError();
    done += sent;
  }
  return done;
}

int RWSocket::sendFully(const char* buffer, int length) const {
  return sendFully(buffer, length, length);
}

void RWSocket::shutdown(int how) const {
  check(sysShutdown(handle_, how), "RWSocket::shutdown");
}

void RWSocket::setsockopt(int level, int option, const void* value, int length) const {
  check(sysSetsockopt(handle_, level, option, static_cast<const char*>(value), length),
        "RWSocket::setsockopt");
}

void RWSocket::getsockopt(int level, int option, void* value, int* length) const {
  check(sysGetsockopt(handle_, level, option, static_cast<char*>(value), length),
        "RWSocket::getsockopt");
}

void RWSocket::ioctl(long request, std::uint32_t* argument) const {
  u_long value = *argument;
  check(ioctlsocket(handle_, request, &value), "RWSocket::ioctl");
  *argument = value;
}

void RWSocket::setBlocking(bool blocking) const {
  std::uint32_t nonBlocking = blocking ? 0 : 1;
  ioctl(FIONBIO, &nonBlocking);
}

void RWSocket::setNoDelay() const {
  const int noDelay = 1;
  setsockopt(IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay);
}

RWSockAddr RWSocket::getpeername() const {
  ReceivedAddress raw;
  check(sysGetpeername(handle_, raw.bytes(), raw.length()), "RWSocket::getpeername");
  return raw.address(typeOf(*this));
}

bool RWSocket::hasPeer() const noexcept {
  ReceivedAddress raw;
  return sysGetpeername(handle_, raw.bytes(), raw.length()) == 0;
}

RWSockAddr RWSocket::getsockname() const {
  ReceivedAddress raw;
  check(sysGetsockname(handle_, raw.bytes(), raw.length()), "RWSocket::getsockname");
  return raw.address(typeOf(*this));
}

void RWSocket::close() {
  if (closesocket(handle_) != 0) raiseUnlessWouldBlock("RWSocket::closesocket");
  handle_ = kInvalid;
}

RWCString RWSocket::text() const {
  if (!isValid()) return "invalid";
  RWSockAddr local;
  try {
    local = getsockname();
  } catch (const RWSocketError& error) {
    // With WSAEINVAL the socket is not bound, so it has no local address.
    if (error.code() != WSAEINVAL) throw;
  }
  RWSockAddr peer;
  try {
    peer = getpeername();
  } catch (const RWSocketError& error) {
    if (error.code() != WSAENOTCONN) throw;
  }
  return peer.isValid() ? local.text() + "-->" + peer.text() : local.text();
}

}  // namespace orla
