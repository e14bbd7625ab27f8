#include "client/Library.h"

#include <optional>

#include "foundation/RWxmsg.h"
#include "net/RWWinsockStartup.h"

namespace orla {

namespace {

/// Built when the library is loaded, destroyed when it is unloaded. The library-wide object goes
/// first both times: its clean-up comes before Winsock's.
struct Statics {
  Statics() {
    inet.emplace();
    try {
      winsock = new RWWinsockStartup;
    } catch (const RWxmsg&) {
      // The agent's process goes on: each command fails with the socket layer's own message.
    }
  }
  Statics(const Statics&) = delete;
  Statics& operator=(const Statics&) = delete;
  ~Statics() {
    inet.reset();
    try {
      delete winsock;
    } catch (const RWxmsg&) {
      // There is nobody left to tell.
    }
  }

  std::optional<CVekInet> inet;
  RWWinsockStartup* winsock = nullptr;  // By hand: an owner's destructor would not let it raise.
};

Statics statics;

}  // namespace

CVekInet& libraryObject() {
  return *statics.inet;
}

}  // namespace orla
