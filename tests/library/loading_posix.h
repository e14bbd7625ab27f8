#pragma once

#include <dlfcn.h>

namespace orla::test {

/// Loading with the system's own calls; the twins answer alike.
struct Loading {
  static void* load(const char* file) { return dlopen(file, RTLD_NOW | RTLD_LOCAL); }
  static void unload(void* library) { dlclose(library); }
  static void* find(void* library, const char* name, int) { return dlsym(library, name); }
  /// Whether the library hears of every thread that begins while it is loaded.
  static constexpr bool kAnnouncesThreads = false;
};

}  // namespace orla::test
