#include "client/VekRWHttpClient.h"

#include "threads/RWTHRErrors.h"

namespace orla {

VekRWHttpClient::VekRWHttpClient(VekRWHttpClientImp* client) : client_(client) {}

RWSocketPortal VekRWHttpClient::portal() const {
  return client().portal();
}

void VekRWHttpClient::connect(const RWCString& host, std::uint32_t port, std::uint32_t timeout) {
  client().connect(host, port, timeout);
}

bool VekRWHttpClient::isConnected() const {
  return client().isConnected();
}

bool VekRWHttpClient::submit(const RWHttpRequest& request, int pipelineMethod) {
  return client().submit(request, pipelineMethod);
}

RWHttpReply VekRWHttpClient::getReply(const RWHttpClientImp::BodyHandler& handler,
                                      std::uint32_t timeout) {
  return client().getReply(handler, timeout);
}

VekRWHttpClientImp& VekRWHttpClient::client() const {
  if (!client_) throw RWTHRInvalidPointer();
  return *client_;
}

}  // namespace orla
