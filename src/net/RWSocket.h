// A socket: the system's socket calls, which throw if they fail.
//
// A socket is a plain value that holds one handle. Copying copies the handle. Only close() closes
// it: the owner (usually a portal, see RWSocketPortal.h) must call it once. A socket has no lock:
// one thread at a time uses it. Each transfer is one system call and buffers nothing. How long
// calls block depends on the socket's blocking mode and timeout options.
//
// A failed call throws RWSocketError and leaves the handle unchanged, except that connect() and
// bind() close a socket that they have created themselves. A negative length fails with WSAEFAULT.
#pragma once

#include <cstdint>

#include "foundation/RWCString.h"
#include "net/RWSockAddr.h"

namespace orla {

class RWSocket {
 public:
  using Handle = std::uint32_t;  // The system's SOCKET.

  RWSocket() noexcept = default;
  explicit RWSocket(Handle handle) noexcept : handle_(handle) {}

  bool isValid() const noexcept { return handle_ != kInvalid; }
  Handle handle() const noexcept { return handle_; }

  /// Creates a new socket. Replaces a previous handle without closing it.
  void socket(const RWSockKind& kind);
  /// Connects. Creates the socket first if there is none. On a non-blocking socket it returns while
  /// the connect is still in progress. Throws RWSockTypeChangeError if the socket is not of the
  /// type that the address requires.
  void connect(const RWSockAddrBase& address);
  /// Binds. Creates the socket and throws as connect() does. Throws even if the call would block.
  void bind(const RWSockAddrBase& address);
  void listen(int backlog) const;
  /// Accepts the next connection. `*peer`, unless null, receives the peer's address. Returns an
  /// invalid socket if the call would block.
  RWSocket accept(RWSockAddr* peer = nullptr) const;

  /// Returns the number of bytes received. If that is 0, `*more` is false at the end of the stream,
  /// and true if the call would block.
  int recv(char* buffer, int length, int flags = 0, bool* more = nullptr) const;
  /// One receive of at most 4096 bytes.
  RWCString recv() const;
  /// The same as recv(). `*from` receives the sender's address, or no address if the system returns
  /// none, as for a connected stream.
  int recvfrom(char* buffer, int length, RWSockAddr* from = nullptr, int flags = 0,
               bool* more = nullptr) const;
  /// Returns the number of bytes sent, 0 if the call would block.
  int send(const char* buffer, int length, int flags = 0) const;
  int sendto(const char* buffer, int length, const RWSockAddrBase& to, int flags = 0) const;

  /// Receives until at least `atLeast` bytes are in the buffer, which has `length` bytes. Returns
  /// the number of bytes. Throws RWNetCantRecvError if a receive returns nothing, or if the buffer
  /// is full first.
  int recvFully(char* buffer, int length, int atLeast) const;
  /// The same, into a buffer of `atLeast` bytes or 4096, whichever is larger.
  RWCString recvFully(int atLeast) const;
  /// Sends until at least `atLeast` bytes are sent. Returns the number of bytes sent. Throws
  /// RWNetCantSendError if a send transfers nothing, or if all of `length` bytes are sent first.
  int sendFully(const char* buffer, int length, int atLeast) const;
  /// Sends all of `length` bytes.
  int sendFully(const char* buffer, int length) const;

  /// Shuts down receiving (0), sending (1) or both (2).
  void shutdown(int how) const;
  void setsockopt(int level, int option, const void* value, int length) const;
  void getsockopt(int level, int option, void* value, int* length) const;
  /// `request` is FIONBIO or FIONREAD.
  void ioctl(long request, std::uint32_t* argument) const;
  /// Switches between blocking and non-blocking mode. Failures are those of ioctl().
  void setBlocking(bool blocking) const;
  /// Makes a stream socket send small pieces at once instead of waiting for the peer to acknowledge
  /// earlier ones (TCP_NODELAY). Failures are those of setsockopt().
  void setNoDelay() const;
  RWSockAddr getpeername() const;
  /// Returns true if the socket is connected, that is, if getpeername() succeeds.
  bool hasPeer() const noexcept;
  RWSockAddr getsockname() const;
  /// Closes the socket. A close that would block counts as done.
  void close();

  /// For diagnostics: "invalid" if there is no socket, otherwise the local address ("no address" if
  /// it is not bound), followed by "-->" and the peer's address if it is connected.
  RWCString text() const;

 private:
  static constexpr Handle kInvalid = 0xFFFFFFFF;

  Handle handle_ = kInvalid;
};

}  // namespace orla
