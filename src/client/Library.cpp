#include "client/Library.h"

#include "foundation/RWxmsg.h"

namespace orla {

Library::Library(const char* guardName) {
  inet_.emplace(guardName);
  try {
    winsock_ = new RWWinsockStartup;
  } catch (...) {  // Of what Winsock says, or no memory.
    // The commands tell.
  }
}

Library::~Library() {
  inet_.reset();
  try {
    delete winsock_;
  } catch (const RWxmsg&) {
    // There is nobody left to tell.
  }
}

}  // namespace orla
