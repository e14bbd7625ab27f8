// What the loaded library holds: its one object and Winsock's start-up.
#pragma once

#include "client/CVekInet.h"

namespace orla {

/// The library-wide object. There from the loading of the library, before any export can run, until
/// its unloading.
CVekInet& libraryObject();

}  // namespace orla
