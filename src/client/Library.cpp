#include "client/Library.h"

#include "foundation/RWxmsg.h"

namespace orla {

Library::Library(const char* guardName) {
  inet_.emplace(guardName);
  try {
    winsock_ = new RWWinsockStartup;
  } catch (...) {
    // Loading must not fail because Winsock does not start. Every command reports the error
    // instead.
  }
}

Library::~Library() {
  inet_.reset();
  try {
    delete winsock_;
  } catch (const RWxmsg&) {
    // No caller is left that the error could be reported to.
  }
}

}  // namespace orla
