// Socket addresses of the internet family: a host, a port and the kind of socket.
#pragma once

#include "net/RWInetHost.h"
#include "net/RWInetServicePort.h"
#include "net/RWSockAddr.h"

namespace orla {

/// An internet address. Names are looked up when raw() is called.
class RWInetAddr final : public RWSockAddrBase {
 public:
  /// Types have the numbers of RWSockKind. Protocol 0 is the type's default.
  RWInetAddr(RWInetServicePort port, RWInetHost host, int type = 1, int protocol = 0);
  /// From a text. ":" or spaces separate the words, and text in parentheses is a comment:
  ///     [inet:] port                the any-address, type stream
  ///     [inet:] host:port           type stream
  ///     [inet:] type:host:port      "stream", "dgram", "raw", "rdm", "seqpacket"
  /// Throws RWSockBadAddressFormatError for anything else.
  explicit RWInetAddr(const RWCString& text);

  const RWInetHost& host() const noexcept { return host_; }
  const RWInetServicePort& port() const noexcept { return port_; }

  RWSockKind kind() const override { return kind_; }
  /// 16 bytes, a sockaddr_in.
  RWRawSockAddr raw() const override;
  /// For example "inet:stream:www:80". The constructor reads this form back.
  RWCString text() const override;

 private:
  RWInetServicePort port_;
  RWInetHost host_;
  RWSockKind kind_;
};

}  // namespace orla
