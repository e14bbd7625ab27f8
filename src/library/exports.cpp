// The ten exported functions: thin forwarders to the library-wide object.
//
// Agents built by other compilers call with a stack aligned to 4 bytes, so each function realigns
// it. A comment names the functions that let an exception through; the others return a status for
// every failure. All of them fail with ORLA_ERROR_GENERAL once the library is being unloaded.
#include "library/LibraryUse.h"
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

/// Runs an operation of the library-wide object.
template <class... Parameters>
orla_status run(std::uint32_t (CVekInet::*operation)(Parameters...), Parameters... arguments) {
  const LibraryUse library;
  if (!library) return ORLA_ERROR_GENERAL;
  return ((*library).*operation)(arguments...);
}

}  // namespace

}  // namespace orla

using orla::CVekInet;
using orla::run;

ORLA_EXPORT ORLAInitialize(uint32_t flag, const char* text) {
  return run(&CVekInet::Initialize, flag, text);
}

// Throws error 1 if the table of connections cannot be locked.
ORLA_EXPORT ORLAConnect(const char* url, const char* credential, uint32_t reserved,
                        uint32_t* handle) {
  return run(&CVekInet::Connect, url, credential, reserved, handle);
}

// Throws error 1 if the table of connections cannot be locked.
ORLA_EXPORT ORLADisconnect(uint32_t handle) {
  return run(&CVekInet::Disconnect, handle);
}

ORLA_EXPORT ORLAGetPackageName(uint32_t handle, uint32_t type, uint32_t count,
                               const char* const* identities, char* name, uint32_t* size) {
  return run(&CVekInet::GetPackageName, handle, type, count, identities, name, size);
}

ORLA_EXPORT ORLASendPackage(uint32_t handle, uint32_t type, uint32_t count,
                            const char* const* identities, const char* path, char* name,
                            uint32_t* size) {
  return run(&CVekInet::SendPackage, handle, type, count, identities, path, name, size);
}

ORLA_EXPORT ORLADownloadFile(uint32_t handle, const char* target, const char* path,
                             orla_progress_fn progress, orla_progress_record* record,
                             const char* counter) {
  return run(&CVekInet::DownloadFile, handle, target, path, progress, record, counter);
}

// Throws error 1 if the table of connections cannot be locked.
ORLA_EXPORT ORLACleanup(void) {
  return run(&CVekInet::Cleanup);
}

ORLA_EXPORT ORLAGetVersion(uint32_t handle, uint16_t* major, uint16_t* minor) {
  const orla::LibraryUse library;
  if (!library) return ORLA_ERROR_GENERAL;
  orla::closeRecordAtThreadExit();
  return library->GetVersion(handle, major, minor);
}

ORLA_EXPORT ORLAGetLastError(uint32_t* code) {
  return run(&CVekInet::LastError, code);
}

ORLA_EXPORT ORLAGetLastErrorMsg(char* buffer, uint32_t size) {
  return run(&CVekInet::LastErrorMessage, buffer, size);
}
