#include <io.h>
#include <stdio.h>

#include "standard_streams.h"

namespace orla {

bool openMissingStandardStreams() {
  FILE* const streams[] = {stdin, stdout, stderr};
  for (FILE* stream : streams) {
    if (_fileno(stream) >= 0) continue;
    if (freopen("NUL", stream == stdin ? "w" : "r", stream) == nullptr) return false;
  }
  return true;
}

}  // namespace orla
