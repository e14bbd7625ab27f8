// The state of the loaded library: the library-wide object and the startup of Winsock.
#pragma once

#include <optional>

#include "client/CVekInet.h"
#include "net/RWWinsockStartup.h"

namespace orla {

/// Created when the library is loaded, destroyed when it is unloaded. The library-wide object is
/// created first, and it is destroyed first, because its cleanup must precede that of Winsock.
class Library {
 public:
  /// `guardName` is passed to CVekInet. If Winsock does not start, no error is reported here: each
  /// command then fails with the message of the socket layer.
  explicit Library(const char* guardName = "ORLAHost2.dll");
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library();

  CVekInet& inet() { return *inet_; }

 private:
  std::optional<CVekInet> inet_;
  /// Not a smart pointer, because ~RWWinsockStartup() may throw.
  RWWinsockStartup* winsock_ = nullptr;
};

}  // namespace orla
