// A portal over a socket.
//
// The last portal that shares the implementation destroys it, which closes the socket unless the
// application keeps that duty. Closing that fails raises RWSocketError from there, unless an
// exception is already unwinding the stack.
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

/// The channel of a socket. Untimed calls are the socket's own, one system call each. A timed call
/// first waits until the socket is ready, in whole seconds as selectSockets() counts them, then
/// transfers once.
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
  /// Waits for CanRead or CanWrite of RWSocketAttribute. 0: the time expired; -1 or 1: ready.
  virtual int waitReady(int condition, std::uint32_t timeout);

 private:
  /// Returns when ready; `operation` names the transfer in the error of an unknown wait result.
  void requireReady(int condition, std::uint32_t timeout, const char* operation);

  RWSocketPortalBase::ClosePolicy policy_;
  const UnwindDetector unwind_;
};

class RWSocketPortal : public RWPortal, public RWSocketPortalBase {
 public:
  /// Over a socket that is there. A construction that fails leaves the socket the caller's.
  explicit RWSocketPortal(const RWSocket& socket, ClosePolicy policy = PortalCloses);
  /// Over a new socket, connected to `address`, which the portal closes. A failure leaves nothing
  /// open.
  explicit RWSocketPortal(const RWSockAddrBase& address);
  /// The same, connected within `timeout` milliseconds, of which only whole seconds count: a value
  /// below 1000 only polls. Throws RWNetOperationTimeoutError if the time expires, and RWInternalErr
  /// "Unexpected error condition on socket" if the connect fails while it waits, for example because
  /// the peer refuses.
  RWSocketPortal(const RWSockAddrBase& address, std::uint32_t timeout);
  /// Shares `implementation`, new or already shared.
  explicit RWSocketPortal(RWSocketPortalImp* implementation) : RWPortal(implementation) {}

  /// Never null; lives as long as a portal shares it.
  RWSocketPortalImp* implementation() const noexcept {
    return static_cast<RWSocketPortalImp*>(RWPortal::implementation());
  }
  /// The socket, by value: another handle to the same connection.
  RWSocket socket() const;
};

}  // namespace orla
