// Loading a shared library with the system's own calls, by twins.
#pragma once

namespace orla::test {

/// Null on failure.
void* loadLibrary(const char* file);
void unloadLibrary(void* library);
/// The exported function of that plain name, with `argumentBytes` of arguments.
void* findExport(void* library, const char* name, int argumentBytes);
/// True where the library hears of every thread that begins while it is loaded.
bool threadsAreAnnounced();

}  // namespace orla::test
