#include <string>
#include <windows.h>

#include "loading.h"

namespace orla::test {

void* loadLibrary(const char* file) {
  return LoadLibraryA(file);
}

void unloadLibrary(void* library) {
  FreeLibrary(static_cast<HMODULE>(library));
}

void* findExport(void* library, const char* name, int argumentBytes) {
  const std::string decorated = "_" + std::string(name) + "@" + std::to_string(argumentBytes);
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), decorated.c_str()));
}

bool threadsAreAnnounced() {
  return true;
}

}  // namespace orla::test
