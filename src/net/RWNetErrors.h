// The errors that sockets, portals and addresses raise, and the names that they give to Winsock's
// codes. Each text begins with the class's name.
#pragma once

#include "foundation/RWCString.h"
#include "foundation/RWxmsg.h"

namespace orla {

/// The short name of a Winsock code, such as "CONNREFUSED" for 10061; a code without a name in
/// decimal.
RWCString winsockErrorName(int code);

// ---------------------------------------------------------------------------------------------
// Sockets
// ---------------------------------------------------------------------------------------------

/// A socket call that failed: "RWSocketError: in RWSocket::connect: CONNREFUSED".
class RWSocketError : public RWInternalErr {
 public:
  /// `operation` must outlive every copy of the error: a literal.
  RWSocketError(const char* operation, int code);

  /// The operation, such as "RWSocket::connect".
  const char* operation() const noexcept { return operation_; }
  /// The Winsock code.
  int code() const noexcept { return code_; }

 private:
  const char* operation_;
  int code_;
};

/// A socket was to connect or bind to an address of another socket type. `current` and `asked` are
/// the types as they print.
class RWSockTypeChangeError : public RWInternalErr {
 public:
  RWSockTypeChangeError(const RWCString& current, const RWCString& asked);
};

/// A wait for readiness that failed.
class RWNetSelectError : public RWExternalErr {
 public:
  explicit RWNetSelectError(int code);
  /// The Winsock code.
  int code() const noexcept { return code_; }

 private:
  int code_;
};

/// Winsock did not start, or could not be cleaned up.
class RWNetWinsockInitError : public RWExternalErr {
 public:
  explicit RWNetWinsockInitError(int code);
  /// The Winsock code.
  int code() const noexcept { return code_; }

 private:
  int code_;
};

/// A blocking hook was chosen by a number that stands for none.
class RWNetNoSuchBlockingHookError : public RWInternalErr {
 public:
  explicit RWNetNoSuchBlockingHookError(int number);
  int number() const noexcept { return number_; }

 private:
  int number_;
};

// ---------------------------------------------------------------------------------------------
// Portals
// ---------------------------------------------------------------------------------------------

/// Bytes that had to arrive did not: the peer closed the channel, or nothing was there to read.
class RWNetCantRecvError : public RWExternalErr {
 public:
  RWNetCantRecvError();
};

/// Bytes that had to go out did not.
class RWNetCantSendError : public RWExternalErr {
 public:
  RWNetCantSendError();
};

/// The time-out expired before the channel was ready.
class RWNetOperationTimeoutError : public RWExternalErr {
 public:
  RWNetOperationTimeoutError();
};

/// A timed call on a channel that knows no time-outs.
class RWNetTimeoutNotImplementedError : public RWInternalErr {
 public:
  RWNetTimeoutNotImplementedError();
};

/// A call on a portal that has no channel.
class RWNetNoChannelError : public RWInternalErr {
 public:
  RWNetNoChannelError();
};

// ---------------------------------------------------------------------------------------------
// Addresses
// ---------------------------------------------------------------------------------------------

class RWInetHostNotFoundError : public RWExternalErr {
 public:
  explicit RWInetHostNotFoundError(const RWCString& name);
};

class RWInetServiceNotFoundError : public RWExternalErr {
 public:
  explicit RWInetServiceNotFoundError(const RWCString& name);
};

/// A text that is no address, or a raw address of fewer bytes than its family's.
class RWSockBadAddressFormatError : public RWExternalErr {
 public:
  explicit RWSockBadAddressFormatError(const RWCString& text);
  explicit RWSockBadAddressFormatError(int rawLength);
};

/// A family already has a factory that is not the one to be registered.
class RWNetAlreadyRegisteredError : public RWInternalErr {
 public:
  explicit RWNetAlreadyRegisteredError(const RWCString& familyName);
  explicit RWNetAlreadyRegisteredError(int familyNumber);
};

/// A family has no factory.
class RWNetNoFactoryRegisteredError : public RWExternalErr {
 protected:
  /// `family` as the text names it.
  explicit RWNetNoFactoryRegisteredError(const RWCString& family);
};

class RWNetNoNameFactoryRegisteredError : public RWNetNoFactoryRegisteredError {
 public:
  explicit RWNetNoNameFactoryRegisteredError(const RWCString& name);
};

class RWNetNoNumberFactoryRegisteredError : public RWNetNoFactoryRegisteredError {
 public:
  explicit RWNetNoNumberFactoryRegisteredError(int number);
};

}  // namespace orla
