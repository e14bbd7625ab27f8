// The client side of one HTTP connection: sends requests, and reads their replies in the same
// order.
//
// One thread may submit requests while another one reads replies. Nothing else on a connection is
// locked. If an error is thrown after a part of a request was written, or while a reply is read,
// the connection is unusable: disconnect or destroy it.
#pragma once

#include <cstdint>

#include "foundation/RWCString.h"
#include "foundation/RWReference.h"
#include "http/RWBufferedPortal.h"
#include "http/RWHttpReply.h"
#include "http/RWHttpRequest.h"
#include "net/RWSocketPortal.h"
#include "threads/RWBodyBase.h"
#include "threads/RWFunctor.h"
#include "threads/RWTPCValQueue.h"

namespace orla {

/// The base of HTTP client connections. It does not know what carries the bytes.
class RWHttpClientImp : public RWBodyBase {
 public:
  /// Selects whether submit() may send a request while replies are pending.
  enum PipelineMethod { kNoPipeline = 0, kPipeline = 1 };

  /// Receives a reply's body. It must receive from the portal until that returns 0 bytes.
  using BodyHandler = RWTFunctor1<RWPortal>;

  /// Returns the portal of the connection, or a portal over an invalid socket if there is none. Use
  /// it for the socket's options only, not to transfer bytes.
  virtual RWSocketPortal portal() const = 0;
  /// Looks `host` up and connects. Ends an existing connection first, also if this function throws.
  /// `timeout` is in milliseconds, of which only whole seconds count; 0 means no timeout. Throws
  ///   RWInetHostNotFoundError       if the lookup fails,
  ///   RWInetServiceNotFoundError    if the port is above 65535,
  ///   RWNetOperationTimeoutError    if the timeout expires,
  ///   RWInternalErr                 if the connect fails while a timeout is set: "Unexpected error
  ///                                 condition on socket",
  ///   RWSocketError                 if another socket call fails.
  virtual void connect(const RWCString& host, std::uint32_t port, std::uint32_t timeout) = 0;
  /// Releases the connection, which ends with the last copy of its portal, and forgets the pending
  /// requests. connect() may be called again.
  virtual void disconnect() = 0;
  /// Returns true if the socket has a peer.
  virtual bool isConnected() const = 0;

  /// Sends `request`. While replies are pending, a request can be sent only if it and the request
  /// before it are submitted with kPipeline. Otherwise returns false and sends nothing. If this
  /// function throws, the request is not pending. Throws
  ///   RWHttpRequestError       if `pipelineMethod` is invalid, and as RWHttpRequest::write() does;
  ///                            the connection is still usable,
  ///   RWHttpConnectionError    if there is no connection, or if an error cut a previous request
  ///                            short: "Connection lost or not established".
  bool submit(const RWHttpRequest& request, int pipelineMethod = kNoPipeline);

  /// Reads the reply to the oldest pending request and calls `handler` with its body. Ignores
  /// interim replies. `timeout` limits each wait for bytes. It is in milliseconds, of which only
  /// whole seconds count; 0 means no timeout. Throws RWHttpNoPendingRepliesError if no request is
  /// pending, RWHttpHandlerError if the handler did not read the body to its end, and what the
  /// handler throws.
  RWHttpReply getReply(const BodyHandler& handler, std::uint32_t timeout = 0);
  /// The same, but appends the whole body to `body`.
  RWHttpReply getReply(RWCString& body, std::uint32_t timeout = 0);

  bool hasPendingReplies() const;

 protected:
  /// Forgets the channel, the pending requests and the pipelining.
  void dropChannel();

  /// The buffering portal over the connection's portal. Requests and replies go through it. None
  /// while there is no connection, and then no request is pending.
  RWTHandle<RWBufferedPortalImp> channel_;
  /// The arguments of connect(), for the "Host" header.
  RWCString host_;
  std::uint32_t port_ = 0;

 private:
  bool enterPipelineMode(int pipelineMethod);

  RWTPCValQueue<RWCString> pending_;  // The request methods, because a reply to HEAD has no body.
  bool pipelining_ = false;
};

/// An HTTP client connection over a socket.
class RWHttpSocketClientImp : public RWHttpClientImp {
 public:
  RWSocketPortal portal() const override;
  void connect(const RWCString& host, std::uint32_t port, std::uint32_t timeout) override;
  void disconnect() override;
  bool isConnected() const override;

 private:
  RWTHandle<RWSocketPortalImp> socket_;  // None while there is no connection.
};

/// A handle that shares a connection, or holds none. Its operations call those of the connection,
/// and throw RWTHRInvalidPointer if the handle is empty.
class RWHttpClient {
 public:
  RWHttpClient() = default;
  /// Adds a reference to `client`, which may be null.
  explicit RWHttpClient(RWHttpClientImp* client) : client_(client) {}
  RWHttpClient(const RWHttpClient&) = default;
  RWHttpClient& operator=(const RWHttpClient&) = default;
  virtual ~RWHttpClient() noexcept(false) {}

  RWSocketPortal portal() const { return bodyOf(client_).portal(); }
  void connect(const RWCString& host, std::uint32_t port, std::uint32_t timeout = 0) const {
    bodyOf(client_).connect(host, port, timeout);
  }
  void disconnect() const { bodyOf(client_).disconnect(); }
  bool isConnected() const { return bodyOf(client_).isConnected(); }
  bool submit(const RWHttpRequest& request,
              int pipelineMethod = RWHttpClientImp::kNoPipeline) const {
    return bodyOf(client_).submit(request, pipelineMethod);
  }
  RWHttpReply getReply(const RWHttpClientImp::BodyHandler& handler,
                       std::uint32_t timeout = 0) const {
    return bodyOf(client_).getReply(handler, timeout);
  }
  RWHttpReply getReply(RWCString& body, std::uint32_t timeout = 0) const {
    return bodyOf(client_).getReply(body, timeout);
  }
  bool hasPendingReplies() const { return bodyOf(client_).hasPendingReplies(); }

 private:
  RWTHandle<RWHttpClientImp> client_;
};

}  // namespace orla
