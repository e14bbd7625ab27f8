#include <dlfcn.h>

#include "loading.h"

namespace orla::test {

void* loadLibrary(const char* file) {
  return dlopen(file, RTLD_NOW | RTLD_LOCAL);
}

void unloadLibrary(void* library) {
  dlclose(library);
}

void* findExport(void* library, const char* name, int) {
  return dlsym(library, name);
}

bool threadsAreAnnounced() {
  return false;
}

}  // namespace orla::test
