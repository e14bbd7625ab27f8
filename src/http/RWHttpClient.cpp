#include "http/RWHttpClient.h"

#include <memory>
#include <optional>
#include <utility>

#include "http/RWHttpErrors.h"
#include "http/RWHttpPortal.h"
#include "net/RWInetAddr.h"
#include "net/RWTimedPortal.h"

namespace orla {

namespace {

constexpr int kBodyPiece = 64 * 1024;

// NOLINTNEXTLINE(performance-unnecessary-value-param): the functor passes the portal by value.
void readToEnd(RWPortal portal, RWCString* body) {
  const auto piece = std::make_unique_for_overwrite<char[]>(kBodyPiece);
  while (const int count = portal.recv(piece.get(), kBodyPiece, nullptr))
    body->append(piece.get(), static_cast<std::size_t>(count));
}

}  // namespace

bool RWHttpClientImp::enterPipelineMode(int pipelineMethod) {
  switch (pipelineMethod) {
    case kNoPipeline:
      if (hasPendingReplies()) return false;
      pipelining_ = false;
      return true;
    case kPipeline:
      if (!pipelining_ && hasPendingReplies()) return false;
      pipelining_ = true;
      return true;
    default:
      throw RWHttpRequestError("Invalid pipeline method");
  }
}

bool RWHttpClientImp::submit(const RWHttpRequest& request, int pipelineMethod) {
  if (!enterPipelineMode(pipelineMethod)) return false;
  // Nothing may be sent after a request that was written in part or whose reply is not expected.
  if (!channel_ || channel_->isMidMessage() || !isConnected())
    throw RWHttpConnectionError("Connection lost or not established");
  request.write(RWPortal(channel_.get()), host_, port_);
  channel_->flush();
  pending_.write(request.getMethod());
  channel_->endMessage();
  return true;
}

RWHttpReply RWHttpClientImp::getReply(const BodyHandler& handler, std::uint32_t timeout) {
  const std::optional<RWCString> method = pending_.tryRead();
  if (!method) throw RWHttpNoPendingRepliesError();
  RWPortal portal(channel_.get());
  if (timeout != 0) portal = makeTimedPortal(portal, timeout);

  RWHttpLineReader lines(portal);
  RWHttpReply reply(lines);
  while (reply.is1XX()) reply = RWHttpReply(lines);

  const RWTHandle<RWHttpPortalImp> body = makeBodyPortal(*method, reply, portal);
  handler(RWPortal(body.get()));
  if (!body->isDone()) throw RWHttpHandlerError("The body was not completely consumed");
  return reply;
}

RWHttpReply RWHttpClientImp::getReply(RWCString& body, std::uint32_t timeout) {
  using Reader = RWTFunctor1GA1Imp<RWPortal, void, RWPortal, RWCString*>;
  return getReply(BodyHandler(new Reader(readToEnd, &body)), timeout);
}

bool RWHttpClientImp::hasPendingReplies() const {
  return pending_.readable();
}

void RWHttpClientImp::dropChannel() {
  channel_ = RWTHandle<RWBufferedPortalImp>();
  while (pending_.tryRead()) {
  }
  pipelining_ = false;
}

RWSocketPortal RWHttpSocketClientImp::portal() const {
  return socket_ ? RWSocketPortal(socket_.get()) : RWSocketPortal(RWSocket());
}

void RWHttpSocketClientImp::connect(const RWCString& host, std::uint32_t port,
                                    std::uint32_t timeout) {
  if (channel_) disconnect();
  host_ = host;
  port_ = port;
  const RWInetAddr address{RWInetServicePort(port), RWInetHost(host)};
  const RWSocketPortal portal =
      timeout == 0 ? RWSocketPortal(address) : RWSocketPortal(address, timeout);
  // The end of a request must not wait until the server acknowledges its beginning.
  portal.socket().setNoDelay();
  channel_ = RWTHandle<RWBufferedPortalImp>(new RWBufferedPortalImp(portal));
  socket_ = RWTHandle<RWSocketPortalImp>(portal.implementation());
}

void RWHttpSocketClientImp::disconnect() {
  dropChannel();
  socket_ = RWTHandle<RWSocketPortalImp>();
}

bool RWHttpSocketClientImp::isConnected() const {
  return socket_ && socket_->hasPeer();
}

}  // namespace orla
