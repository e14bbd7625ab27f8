// The HTTP client class that the library uses.
#pragma once

#include "http/RWHttpClient.h"

namespace orla {

/// The concrete client. One is created for each transaction.
class VekRWHttpClientImp : public RWHttpSocketClientImp {};

/// Shares such a client. Only the destructor is virtual.
class VekRWHttpClient : public RWHttpClient {
 public:
  /// Holds a counted reference to `client`, which may be null.
  explicit VekRWHttpClient(VekRWHttpClientImp* client) : RWHttpClient(client) {}
};

}  // namespace orla
