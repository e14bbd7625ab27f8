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
  RWSocketError(const char* operation, int code)
      : RWInternalErr(RWCString("RWSocketError: in ") + operation + ": " + winsockErrorName(code)),
        operation_(operation),
        code_(code) {}

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
  RWSockTypeChangeError(const RWCString& current, const RWCString& asked)
      : RWInternalErr("RWSockTypeChangeError: Socket of type " + current +
                      " can't be changed to type " + asked) {}
};

/// A wait for readiness that failed.
class RWNetSelectError : public RWExternalErr {
 public:
  explicit RWNetSelectError(int code)
      : RWExternalErr("RWNetSelectError: " + winsockErrorName(code)), code_(code) {}
  /// The Winsock code.
  int code() const noexcept { return code_; }

 private:
  int code_;
};

/// Winsock did not start, or could not be cleaned up.
class RWNetWinsockInitError : public RWExternalErr {
 public:
  explicit RWNetWinsockInitError(int code)
      : RWExternalErr("RWNetWinsockInitError: " + winsockErrorName(code)), code_(code) {}
  /// The Winsock code.
  int code() const noexcept { return code_; }

 private:
  int code_;
};

/// A blocking hook was chosen by a number that stands for none.
class RWNetNoSuchBlockingHookError : public RWInternalErr {
 public:
  explicit RWNetNoSuchBlockingHookError(int number)
      : RWInternalErr("RWNetNoSuchBlockingHookError: no hook " + std::to_string(number)),
        number_(number) {}
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
  RWNetCantRecvError()
      : RWExternalErr("RWNetCantRecvError: failed to receive data from communications channel") {}
};

/// Bytes that had to go out did not.
class RWNetCantSendError : public RWExternalErr {
 public:
  RWNetCantSendError()
      : RWExternalErr("RWNetCantSendError: failed to send data into communications channel") {}
};

/// The time-out expired before the channel was ready.
class RWNetOperationTimeoutError : public RWExternalErr {
 public:
  RWNetOperationTimeoutError()
      : RWExternalErr("RWNetOperationTimeoutError: Network timeout exceeded") {}
};

/// A timed call on a channel that knows no time-outs.
class RWNetTimeoutNotImplementedError : public RWInternalErr {
 public:
  RWNetTimeoutNotImplementedError()
      : RWInternalErr("RWNetTimeoutNotImplementedError: Timeout methods are not implemented") {}
};

/// A call on a portal that has no channel.
class RWNetNoChannelError : public RWInternalErr {
 public:
  RWNetNoChannelError()
      : RWInternalErr("RWNetNoChannelError: no underlying communications channel") {}
};

// ---------------------------------------------------------------------------------------------
// Addresses
// ---------------------------------------------------------------------------------------------

class RWInetHostNotFoundError : public RWExternalErr {
 public:
  explicit RWInetHostNotFoundError(const RWCString& name)
      : RWExternalErr("RWInetHostNotFoundError: No such host '" + name + "'") {}
};

class RWInetServiceNotFoundError : public RWExternalErr {
 public:
  explicit RWInetServiceNotFoundError(const RWCString& name)
      : RWExternalErr("RWInetServiceNotFoundError: No such service '" + name + "'") {}
};

/// A text that is no address, or a raw address of fewer bytes than its family's.
class RWSockBadAddressFormatError : public RWExternalErr {
 public:
  explicit RWSockBadAddressFormatError(const RWCString& text)
      : RWExternalErr("RWSockBadAddressFormatError: '" + text + "' cannot be parsed") {}
  explicit RWSockBadAddressFormatError(int rawLength)
      : RWSockBadAddressFormatError("raw address of " + std::to_string(rawLength) + " bytes") {}
};

/// A family already has a factory that is not the one to be registered.
class RWNetAlreadyRegisteredError : public RWInternalErr {
 public:
  explicit RWNetAlreadyRegisteredError(const RWCString& familyName)
      : RWInternalErr(
            "RWNetAlreadyRegisteredError: already registered different factory for family '" +
            familyName + "'") {}
  explicit RWNetAlreadyRegisteredError(int familyNumber)
      : RWInternalErr(
            "RWNetAlreadyRegisteredError: already registered different factory for family " +
            std::to_string(familyNumber)) {}
};

/// A family has no factory.
class RWNetNoFactoryRegisteredError : public RWExternalErr {
 protected:
  /// `family` as the text names it.
  explicit RWNetNoFactoryRegisteredError(const RWCString& family)
      : RWExternalErr("RWNetNoFactoryRegisteredError: no factory for family " + family) {}
};

class RWNetNoNameFactoryRegisteredError : public RWNetNoFactoryRegisteredError {
 public:
  explicit RWNetNoNameFactoryRegisteredError(const RWCString& name)
      : RWNetNoFactoryRegisteredError("'" + name + "'") {}
};

class RWNetNoNumberFactoryRegisteredError : public RWNetNoFactoryRegisteredError {
 public:
  explicit RWNetNoNumberFactoryRegisteredError(int number)
      : RWNetNoFactoryRegisteredError(std::to_string(number)) {}
};

}  // namespace orla
