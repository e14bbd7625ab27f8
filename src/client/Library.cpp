#include "client/Library.h"

#include <optional>

#include "foundation/RWxmsg.h"
#include "net/RWWinsockStartup.h"

namespace orla {

namespace {

/// Built when the library is loaded, destroyed when it is unloaded; the library-wide object goes
/// first in both, so that no connection outlives the table that its users know it by.
struct Statics {
  Statics() {
    inet.emplace();
    try {
      winsock.emplace();
    } catch (const RWxmsg&) {
      // The agent's process goes on: each command fails with the socket layer's own message.
    }
  }
  Statics(const Statics&) = delete;
  Statics& operator=(const Statics&) = delete;
  ~Statics() {
    inet.reset();
    try {
      winsock.reset();
    } catch (const RWxmsg&) {
      // There is nobody left to tell.
    }
  }

  std::optional<CVekInet> inet;
  std::optional<RWWinsockStartup> winsock;
};

Statics statics;

}  // namespace

CVekInet& libraryObject() {
  return *statics.inet;
}

}  // namespace orla
