// A portal over a socket.
//
// The last portal that shares the implementation deletes it. That closes the socket, unless the
// close policy leaves this to the application. If the close fails, the destructor throws
// RWSocketError, unless an exception is unwinding the stack.
#pragma once

#include "foundation/UnwindDetector.h"
#include "net/RWPortal.h"
#include "net/RWSockAddr.h"
#include "net/RWSocket.h"

namespace orla {

class RWSocketPortalBase {
 public:
  enum ClosePolicy : int {
    PortalCloses = 0,
    ApplicationCloses = 1,
  };
};

/// The channel of a socket. A call without a timeout is one system call. A call with a timeout
/// first waits until the socket is ready (in whole seconds, see selectSockets()), then transfers
/// once.
class RWSocketPortalImp : public RWSocket, public RWPortalImp {
 public:
  RWSocketPortalImp(const RWSocket& socket, RWSocketPortalBase::ClosePolicy policy) noexcept;
  ~RWSocketPortalImp() noexcept(false) override;

  int recv(char* buffer, int length, bool* more, std::uint32_t timeout) override;
  RWCString recv(std::uint32_t timeout) override;
  int recv(char* buffer, int length, bool* more) override;
  RWCString recv() override;
  int send(const char* buffer, int length, std::uint32_t timeout) override;
  int send(const char* buffer, int length) override;

 protected:
  /// Waits for `condition`, which is RWSocketAttribute::CanRead or CanWrite. Returns -1 if the
  /// socket is ready for it, 1 if the socket is ready for another reason, and 0 if the time
  /// expired.
  virtual int waitReady(int condition, std::uint32_t timeout);

 private:
  /// Returns if the socket is ready and throws otherwise. `operation` names the transfer in the
  /// error text for an unknown result of waitReady().
  void requireReady(int condition, std::uint32_t timeout, const char* operation);

  RWSocketPortalBase::ClosePolicy policy_;
  const UnwindDetector unwind_;
};

class RWSocketPortal : public RWPortal, public RWSocketPortalBase {
 public:
  /// Over an existing socket. If the constructor throws, the caller still owns the socket.
  explicit RWSocketPortal(const RWSocket& socket, ClosePolicy policy = PortalCloses);
  /// Connects a new socket to `address`. The portal closes it. If the constructor throws, no socket
  /// is left open.
  explicit RWSocketPortal(const RWSockAddrBase& address);
  /// The same with a timeout in milliseconds, of which only whole seconds count: a value below 1000
  /// only polls. Throws RWNetOperationTimeoutError if the time expires, and RWInternalErr
  /// "Unexpected error condition on socket" if the connect fails during the wait, for example
  /// because the peer refuses it.
  RWSocketPortal(const RWSockAddrBase& address, std::uint32_t timeout);
  /// Shares `implementation`, which is new or already shared.
  explicit RWSocketPortal(RWSocketPortalImp* implementation) : RWPortal(implementation) {}

  /// Never null. Valid while a portal shares it.
  RWSocketPortalImp* implementation() const noexcept {
    return static_cast<RWSocketPortalImp*>(RWPortal::implementation());
  }
  /// Returns a copy of the socket, which has the same handle.
  RWSocket socket() const;
};

}  // namespace orla
