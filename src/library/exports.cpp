// The ten exported functions: thin forwarders to the library-wide object (Library.h).
//
// Agents built by other compilers call with a stack aligned to 4 bytes, so each function realigns
// it. The functions that let an exception through say so; a status is all that leaves the others.
#include "client/Library.h"
#include "library/ThreadNotice.h"
#include "orla/ORLACl.h"

#if defined(__i386__)
#define ORLA_EXPORT \
  extern "C" __attribute__((force_align_arg_pointer)) ORLA_API orla_status ORLA_CALL
#else
#define ORLA_EXPORT extern "C" ORLA_API orla_status ORLA_CALL
#endif

namespace orla {

namespace {

Library library;

}  // namespace

CVekInet& libraryObject() {
  return library.inet();
}

}  // namespace orla

using orla::libraryObject;

ORLA_EXPORT ORLAInitialize(uint32_t flag, const char* text) {
  return libraryObject().Initialize(flag, text);
}

// Lets error 1 through when the table of connections cannot be locked.
ORLA_EXPORT ORLAConnect(const char* url, const char* credential, uint32_t reserved,
                        uint32_t* handle) {
  return libraryObject().Connect(url, credential, reserved, handle);
}

// Lets error 1 through when the table of connections cannot be locked.
ORLA_EXPORT ORLADisconnect(uint32_t handle) {
  return libraryObject().Disconnect(handle);
}

ORLA_EXPORT ORLAGetPackageName(uint32_t handle, uint32_t type, uint32_t count,
                               const char* const* identities, char* name, uint32_t* size) {
  return libraryObject().GetPackageName(handle, type, count, identities, name, size);
}

ORLA_EXPORT ORLASendPackage(uint32_t handle, uint32_t type, uint32_t count,
                            const char* const* identities, const char* path, char* name,
                            uint32_t* size) {
  return libraryObject().SendPackage(handle, type, count, identities, path, name, size);
}

ORLA_EXPORT ORLADownloadFile(uint32_t handle, const char* target, const char* path,
                             orla_progress_fn progress, orla_progress_record* record,
                             const char* counter) {
  return libraryObject().DownloadFile(handle, target, path, progress, record, counter);
}

// Lets error 1 through when the table of connections cannot be locked.
ORLA_EXPORT ORLACleanup(void) {
  return libraryObject().Cleanup();
}

ORLA_EXPORT ORLAGetVersion(uint32_t handle, uint16_t* major, uint16_t* minor) {
  orla::expectThreadEnd();
  return libraryObject().GetVersion(handle, major, minor);
}

ORLA_EXPORT ORLAGetLastError(uint32_t* code) {
  return libraryObject().LastError(code);
}

ORLA_EXPORT ORLAGetLastErrorMsg(char* buffer, uint32_t size) {
  return libraryObject().LastErrorMessage(buffer, size);
}
