#pragma once

#include <string>
#include <windows.h>

namespace orla::test {

/// Loading with the system's own calls; the twins answer alike.
struct Loading {
  static void* load(const char* file) { return LoadLibraryA(file); }
  static void unload(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }
  static void* find(void* library, const char* name, int argumentBytes) {
    const std::string decorated = "_" + std::string(name) + "@" + std::to_string(argumentBytes);
    return reinterpret_cast<void*>(
        GetProcAddress(static_cast<HMODULE>(library), decorated.c_str()));
  }
  /// Whether the library hears of every thread that begins while it is loaded.
  static constexpr bool kAnnouncesThreads = true;
};

}  // namespace orla::test
