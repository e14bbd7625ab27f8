// The client side of one HTTP connection: requests out, replies back in the same order.
//
// Submitting and reading replies may run on different threads, one each; nothing else on a
// connection is locked. An error raised while a request is written or a reply read leaves the
// connection unusable: destroy it.
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

  /// The portal of the connection. Its bytes belong to the connection: use it for the socket's
  /// options.
  virtual RWSocketPortal portal() const = 0;
  /// Looks `host` up and connects. `timeout` in milliseconds, of which only whole seconds count;
  /// 0 sets no limit. RWNetOperationTimeoutError; RWInternalErr "Unexpected error condition on
  /// socket" for a refusal while a limit is set; RWInetHostNotFoundError, RWSocketError.
  /// RWInetServiceNotFoundError for a port above 65535.
  virtual void connect(const RWCString& host, std::uint32_t port, std::uint32_t timeout) = 0;
  /// Ends the connection; connect() may follow.
  virtual void disconnect() = 0;
  /// True while the socket has a peer.
  virtual bool isConnected() const = 0;

  /// Sends `request`. False, with nothing sent, when replies are pending and `pipelineMethod` does
  /// not allow for that: a connection changes into or out of pipelining only while none is. When
  /// this raises, the request is not pending. RWHttpRequestError for another method;
  /// RWHttpConnectionError "Connection lost or not established".
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
  /// The buffer over the connection's portal, through which requests and replies go.
  RWTHandle<RWBufferedPortalImp> channel_;
  /// As given to connect(), for the "Host" header.
  RWCString host_;
  std::uint32_t port_ = 0;
  RWTPCValQueue<RWHttpRequest> pending_;

 private:
  bool enterPipelineMode(int pipelineMethod);

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
  RWSocketPortal portal_{RWSocket()};
};

}  // namespace orla
