// The library's own HTTP client: a handle to one connection.
#pragma once

#include <cstdint>

#include "foundation/RWReference.h"
#include "http/RWHttpClient.h"

namespace orla {

/// The concrete client that the library owns; one is made for each transaction.
class VekRWHttpClientImp : public RWHttpSocketClientImp {};

/// Shares a client. Every operation of an empty handle throws RWTHRInvalidPointer.
class VekRWHttpClient {
 public:
  VekRWHttpClient() = default;
  explicit VekRWHttpClient(VekRWHttpClientImp* client);
  virtual ~VekRWHttpClient() noexcept(false) {}

  RWSocketPortal portal() const;
  void connect(const RWCString& host, std::uint32_t port, std::uint32_t timeout);
  bool isConnected() const;
  bool submit(const RWHttpRequest& request, int pipelineMethod = RWHttpClientImp::kNoPipeline);
  RWHttpReply getReply(const RWHttpClientImp::BodyHandler& handler, std::uint32_t timeout);

 private:
  VekRWHttpClientImp& client() const;

  RWTHandle<VekRWHttpClientImp> client_;
};

}  // namespace orla
