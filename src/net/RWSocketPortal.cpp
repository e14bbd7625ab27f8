#include "net/RWSocketPortal.h"

#include "net/RWNetErrors.h"
#include "net/RWSocketAttribute.h"

namespace orla {

RWSocketPortalImp::RWSocketPortalImp(const RWSocket& socket,
                                     RWSocketPortalBase::ClosePolicy policy) noexcept
    : RWSocket(socket), policy_(policy) {}

RWSocketPortalImp::~RWSocketPortalImp() noexcept(false) {
  if (policy_ != RWSocketPortalBase::PortalCloses || !isValid()) return;
  try {
    close();
  } catch (...) {
    if (!unwind_.isUnwinding()) throw;
  }
}

int RWSocketPortalImp::recv(char* buffer, int length, bool* more, std::uint32_t timeout) {
  requireReady(RWSocketAttribute::CanRead, timeout, "recv");
  return RWSocket::recv(buffer, length, 0, more);
}

RWCString RWSocketPortalImp::recv(std::uint32_t timeout) {
  requireReady(RWSocketAttribute::CanRead, timeout, "recv");
  return RWSocket::recv();
}

int RWSocketPortalImp::recv(char* buffer, int length, bool* more) {
  return RWSocket::recv(buffer, length, 0, more);
}

RWCString RWSocketPortalImp::recv() {
  return RWSocket::recv();
}

int RWSocketPortalImp::send(const char* buffer, int length, std::uint32_t timeout) {
  requireReady(RWSocketAttribute::CanWrite, timeout, "send");
  return RWSocket::send(buffer, length);
}

int RWSocketPortalImp::send(const char* buffer, int length) {
  return RWSocket::send(buffer, length);
}

int RWSocketPortalImp::waitReady(int condition, std::uint32_t timeout) {
  RWSocketAttributes waited(kMaxSelectSockets);
  waited.append({*this, condition});
  const RWSocketAttributes ready = selectSockets(waited, timeout / 1000.0);
  if (ready.isEmpty()) return 0;
  constexpr int kTransfer = RWSocketAttribute::CanRead | RWSocketAttribute::CanWrite;
  return ready[0].conditions & kTransfer ? -1 : 1;
}

void RWSocketPortalImp::requireReady(int condition, std::uint32_t timeout, const char* operation) {
  switch (waitReady(condition, timeout)) {
    case 0:
      throw RWNetOperationTimeoutError();
    case -1:
    case 1:
      return;
    default:
      throw RWInternalErr(RWCString("Unexpected return value from ") + operation);
  }
}

RWSocketPortal::RWSocketPortal(const RWSocket& socket, ClosePolicy policy)
    : RWSocketPortal(new RWSocketPortalImp(socket, policy)) {}

RWSocketPortal::RWSocketPortal(const RWSockAddrBase& address)
    : RWSocketPortal(RWSocket(), PortalCloses) {
  implementation()->connect(address);
}

RWSocketPortal::RWSocketPortal(const RWSockAddrBase& address, std::uint32_t timeout)
    : RWSocketPortal(RWSocket(), PortalCloses) {
  RWSocket& socket = *implementation();
  socket.socket(address.kind());
  socket.setBlocking(false);
  socket.connect(address);
  RWSocketAttributes wanted;
  wanted.append({socket, RWSocketAttribute::Connected | RWSocketAttribute::Exceptional});
  const RWSocketAttributes ready = selectSockets(wanted, timeout / 1000.0);
  if (ready.isEmpty()) throw RWNetOperationTimeoutError();
  for (const RWSocketAttribute& attribute : ready)
    if (attribute.conditions & RWSocketAttribute::Exceptional)
      throw RWInternalErr("Unexpected error condition on socket");
  socket.setBlocking(true);
}

RWSocket RWSocketPortal::socket() const {
  return *implementation();
}

}  // namespace orla
