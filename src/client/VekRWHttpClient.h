// The library's own HTTP client: a handle to one connection.
#pragma once

#include "http/RWHttpClient.h"

namespace orla {

/// The concrete client that the library owns; one is made for each transaction.
class VekRWHttpClientImp : public RWHttpSocketClientImp {};

/// Shares such a client. Only the destructor is virtual.
class VekRWHttpClient : public RWHttpClient {
 public:
  /// Takes a reference to `client`, which may be null.
  explicit VekRWHttpClient(VekRWHttpClientImp* client) : RWHttpClient(client) {}
};

}  // namespace orla
