#include <fcntl.h>
#include <unistd.h>

#include "standard_streams.h"

namespace orla {

bool openMissingStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    // open() returns the lowest free descriptor. That is this one, because those below it are open.
    const int mode = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (::open("/dev/null", mode) != stream) return false;
  }
  return true;
}

}  // namespace orla
