// Stands in for the library in a process where the system refuses the lock of the table of
// connections: what has to lock it as a writer ends with an exception, and commands fail.
#include <orla/ORLACl.h>

extern "C" {

ORLA_API orla_status ORLAInitialize(uint32_t, const char*) {
  return ORLA_OK;
}

ORLA_API orla_status ORLAConnect(const char*, const char*, uint32_t, uint32_t*) {
  throw ORLA_ERROR_GENERAL;
}

ORLA_API orla_status ORLADisconnect(uint32_t) {
  throw ORLA_ERROR_GENERAL;
}

ORLA_API orla_status ORLACleanup() {
  throw ORLA_ERROR_GENERAL;
}

ORLA_API orla_status ORLAGetVersion(uint32_t, uint16_t*, uint16_t*) {
  return ORLA_ERROR_GENERAL;
}

ORLA_API orla_status ORLAGetPackageName(uint32_t, uint32_t, uint32_t, const char* const*, char*,
                                        uint32_t*) {
  return ORLA_ERROR_GENERAL;
}

ORLA_API orla_status ORLASendPackage(uint32_t, uint32_t, uint32_t, const char* const*, const char*,
                                     char*, uint32_t*) {
  return ORLA_ERROR_GENERAL;
}

ORLA_API orla_status ORLADownloadFile(uint32_t, const char*, const char*, orla_progress_fn,
                                      orla_progress_record*, const char*) {
  return ORLA_ERROR_GENERAL;
}

ORLA_API orla_status ORLAGetLastError(uint32_t* code) {
  *code = ORLA_NO_CODE;
  return 1;
}

ORLA_API orla_status ORLAGetLastErrorMsg(char* buffer, uint32_t size) {
  if (size != 0) *buffer = '\0';
  return ORLA_OK;
}

}  // extern "C"
