// What the loaded library holds: its one object and Winsock's start-up.
#pragma once

#include <optional>

#include "client/CVekInet.h"
#include "net/RWWinsockStartup.h"

namespace orla {

/// Built when the library is loaded, destroyed when it is unloaded. The library-wide object goes
/// first both times: its clean-up comes before Winsock's.
class Library {
 public:
  /// `guardName` as CVekInet's. A Winsock that does not start is not the loading's failure: the
  /// agent's process goes on, and each command fails with the socket layer's own message.
  explicit Library(const char* guardName = "ORLAHost2.dll");
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library();

  CVekInet& inet() { return *inet_; }

 private:
  std::optional<CVekInet> inet_;
  RWWinsockStartup* winsock_ = nullptr;  // By hand: an owner's destructor would not let it raise.
};

}  // namespace orla
