// The errors that sockets, portals and addresses throw, and the names of Winsock's codes in their
// texts. Each text begins with the class name.
#pragma once

#include "foundation/RWCString.h"
#include "foundation/RWxmsg.h"

namespace orla {

/// Returns the short name of a Winsock code, such as "CONNREFUSED" for 10061, or the code in
/// decimal if it has no name.
RWCString winsockErrorName(int code);

// ---------------------------------------------------------------------------------------------
// Sockets
// ---------------------------------------------------------------------------------------------

/// A socket call failed: "RWSocketError: in RWSocket::connect: CONNREFUSED".
class RWSocketError : public RWInternalErr {
 public:
  /// `operation` must outlive every copy of the error. Pass a literal.
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

/// A socket cannot connect or bind to an address of another socket type. `current` and `asked` are
/// the types as text.
class RWSockTypeChangeError : public RWInternalErr {
 public:
  RWSockTypeChangeError(const RWCString& current, const RWCString& asked)
      : RWInternalErr("RWSockTypeChangeError: Socket of type " + current +
                      " can't be changed to type " + asked) {}
};

/// A readiness wait failed.
class RWNetSelectError : public RWExternalErr {
 public:
  explicit RWNetSelectError(int code)
      : RWExternalErr("RWNetSelectError: " + winsockErrorName(code)), code_(code) {}
  /// The Winsock code.
  int code() const noexcept { return code_; }

 private:
  int code_;
};

/// WSAStartup() or WSACleanup() failed.
class RWNetWinsockInitError : public RWExternalErr {
 public:
  explicit RWNetWinsockInitError(int code)
      : RWExternalErr("RWNetWinsockInitError: " + winsockErrorName(code)), code_(code) {}
  /// The Winsock code.
  int code() const noexcept { return code_; }

 private:
  int code_;
};

/// There is no blocking hook with this number.
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

/// Fewer bytes arrived than required: the peer closed the channel, or a non-blocking channel had
/// nothing to read.
class RWNetCantRecvError : public RWExternalErr {
 public:
  RWNetCantRecvError()
      : RWExternalErr("RWNetCantRecvError: failed to receive data from communications channel") {}
};

/// A send transferred none of the bytes that had to be sent.
class RWNetCantSendError : public RWExternalErr {
 public:
  RWNetCantSendError()
      : RWExternalErr("RWNetCantSendError: failed to send data into communications channel") {}
};

/// The timeout expired before the channel was ready.
class RWNetOperationTimeoutError : public RWExternalErr {
 public:
  RWNetOperationTimeoutError()
      : RWExternalErr("RWNetOperationTimeoutError: Network timeout exceeded") {}
};

/// The channel does not support calls with a timeout.
class RWNetTimeoutNotImplementedError : public RWInternalErr {
 public:
  RWNetTimeoutNotImplementedError()
      : RWInternalErr("RWNetTimeoutNotImplementedError: Timeout methods are not implemented") {}
};

/// The portal has no channel.
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

/// A text is not an address, or a raw address has fewer bytes than its family requires.
class RWSockBadAddressFormatError : public RWExternalErr {
 public:
  explicit RWSockBadAddressFormatError(const RWCString& text)
      : RWExternalErr("RWSockBadAddressFormatError: '" + text + "' cannot be parsed") {}
  explicit RWSockBadAddressFormatError(int rawLength)
      : RWSockBadAddressFormatError("raw address of " + std::to_string(rawLength) + " bytes") {}
};

/// The family already has a different factory.
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

/// The family has no factory.
class RWNetNoFactoryRegisteredError : public RWExternalErr {
 protected:
  /// `family` is a quoted name or a number.
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
