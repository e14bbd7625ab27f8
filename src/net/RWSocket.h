// A socket: the system's socket calls, with failures raised.
//
// A socket is a plain value, one handle: copying copies the handle, nothing is counted, and nothing
// is closed but by close(); who closes is settled by the owner (RWSocketPortal.h). It has no lock:
// one thread uses it at a time. Each transfer is one system call and buffers nothing; operations
// block as the socket's blocking mode and time-out options say.
//
// A call that fails raises RWSocketError and leaves the handle as it was, except where connect or
// bind closed a socket that they had made themselves. A negative length fails with WSAEFAULT.
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

  /// Makes a new socket of a kind; a handle held before is forgotten, not closed.
  void socket(const RWSockKind& kind);
  /// Connects, making the socket first where there is none. A non-blocking connect under way
  /// returns like one that is done. Throws RWSockTypeChangeError when the socket is of another type
  /// than the address asks for.
  void connect(const RWSockAddrBase& address);
  /// Binds, as connect; would-block raises.
  void bind(const RWSockAddrBase& address);
  void listen(int backlog) const;
  /// The next connection, and its peer when asked for; an invalid socket when accepting would
  /// block.
  RWSocket accept(RWSockAddr* peer = nullptr) const;

  /// The number of bytes received; 0 at the end of the stream, with `*more` false, and when
  /// receiving would block, with `*more` true.
  int recv(char* buffer, int length, int flags = 0, bool* more = nullptr) const;
  /// One receive of at most 4096 bytes.
  RWCString recv() const;
  /// As recv. `*from` takes the sender; no address where the system names none, as for a connected
  /// stream.
  int recvfrom(char* buffer, int length, RWSockAddr* from = nullptr, int flags = 0,
               bool* more = nullptr) const;
  /// The number of bytes sent; 0 when sending would block.
  int send(const char* buffer, int length, int flags = 0) const;
  int sendto(const char* buffer, int length, const RWSockAddrBase& to, int flags = 0) const;

  /// Receives until `atLeast` bytes have come, in pieces as large as `length` allows; returns their
  /// number. Throws RWNetCantRecvError when a receive gives nothing or the buffer is full before.
  int recvFully(char* buffer, int length, int atLeast) const;
  /// The same into a buffer of `atLeast` bytes, at the least 4096.
  RWCString recvFully(int atLeast) const;
  /// Sends until `atLeast` bytes have gone. Throws RWNetCantSendError when a send takes nothing.
  int sendFully(const char* buffer, int length, int atLeast) const;
  /// Sends all of `length` bytes.
  int sendFully(const char* buffer, int length) const;

  /// 0 receive, 1 send, 2 both.
  void shutdown(int how) const;
  void setsockopt(int level, int option, const void* value, int length) const;
  void getsockopt(int level, int option, void* value, int* length) const;
  /// FIONBIO, FIONREAD.
  void ioctl(long request, std::uint32_t* argument) const;
  /// Switches between blocking and non-blocking mode. Failures are those of ioctl().
  void setBlocking(bool blocking) const;
  /// Makes a stream socket send small pieces at once instead of waiting for the peer to acknowledge
  /// earlier ones (TCP_NODELAY). Failures are those of setsockopt().
  void setNoDelay() const;
  RWSockAddr getpeername() const;
  /// True when getpeername() would tell a peer; sets no store by its address.
  bool hasPeer() const noexcept;
  RWSockAddr getsockname() const;
  /// Closes; would-block counts as closed.
  void close();

  /// For diagnostics: "invalid", or the local address ("no address" when not bound) and, when
  /// connected, "-->" and the peer's.
  RWCString text() const;

 private:
  static constexpr Handle kInvalid = 0xFFFFFFFF;

  Handle handle_ = kInvalid;
};

}  // namespace orla
