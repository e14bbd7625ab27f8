// The client side of one HTTP connection: requests out, replies back in the same order.
//
// Submitting and reading replies may run on different threads, one each; nothing else on a
// connection is locked. An error raised once a part of a request is written, or while a reply is
// read, leaves the connection unusable: disconnect or destroy it.
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

/// What every HTTP client connection does, whatever carries it.
class RWHttpClientImp : public RWBodyBase {
 public:
  /// How submit() treats the replies still to come.
  enum PipelineMethod { kNoPipeline = 0, kPipeline = 1 };

  /// Receives a reply's body: it must receive from the portal until 0 bytes come.
  using BodyHandler = RWTFunctor1<RWPortal>;

  /// The portal of the connection, over an invalid socket when there is none. Its bytes belong to
  /// the connection: use it for the socket's options.
  virtual RWSocketPortal portal() const = 0;
  /// Looks `host` up and connects. `timeout` in milliseconds, of which only whole seconds count;
  /// 0 sets no limit. RWNetOperationTimeoutError; RWInternalErr "Unexpected error condition on
  /// socket" for a refusal while a limit is set; RWInetHostNotFoundError, RWSocketError.
  /// RWInetServiceNotFoundError for a port above 65535. A connection that was there before is
  /// ended, also when this raises.
  virtual void connect(const RWCString& host, std::uint32_t port, std::uint32_t timeout) = 0;
  /// Lets go of the connection, which ends with the last copy of its portal, and forgets the
  /// requests whose replies are pending; connect() may follow.
  virtual void disconnect() = 0;
  /// True while the socket has a peer.
  virtual bool isConnected() const = 0;

  /// Sends `request`. False, with nothing sent, when replies are pending and `pipelineMethod` does
  /// not allow for that: a connection changes into or out of pipelining only while none is. When
  /// this raises, the request is not pending. RWHttpRequestError, with the connection still usable,
  /// for another method and as RWHttpRequest::write() says; RWHttpConnectionError "Connection lost
  /// or not established", also once a request before was cut short by an error.
  bool submit(const RWHttpRequest& request, int pipelineMethod = kNoPipeline);

  /// Reads the reply to the oldest pending request and calls `handler` with its body. `timeout`, in
  /// milliseconds as for connect(), bounds each wait for bytes. Interim replies are dropped.
  /// RWHttpNoPendingRepliesError; RWHttpHandlerError when the body was not read to its end; what
  /// the handler raises.
  RWHttpReply getReply(const BodyHandler& handler, std::uint32_t timeout = 0);
  /// The same, with the whole body put at the end of `body`.
  RWHttpReply getReply(RWCString& body, std::uint32_t timeout = 0);

  bool hasPendingReplies() const;

 protected:
  /// Forgets the channel, the pending requests and the pipelining.
  void dropChannel();

  /// The buffer over the connection's portal, through which requests and replies go. Requests are
  /// pending only while it is there.
  RWTHandle<RWBufferedPortalImp> channel_;
  /// As given to connect(), for the "Host" header.
  RWCString host_;
  std::uint32_t port_ = 0;

 private:
  bool enterPipelineMode(int pipelineMethod);

  RWTPCValQueue<RWCString> pending_;  // The methods of the requests: they decide on the bodies.
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

/// Shares a connection, or holds none. The operations are the connection's; those of an empty
/// handle throw RWTHRInvalidPointer.
class RWHttpClient {
 public:
  RWHttpClient() = default;
  /// Takes a reference to `client`, which may be null.
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
