// The entry point of the DLL: each thread's error record is opened and closed with the thread.
#include "platform/winapi.h"

#include "library/LibraryUse.h"
#include "library/ThreadNotice.h"

namespace orla {

void startThreadNotices() noexcept {}
void stopThreadNotices() noexcept {}
void closeRecordAtThreadExit() noexcept {}

}  // namespace orla

extern "C" __attribute__((force_align_arg_pointer)) BOOL WINAPI DllMain(HINSTANCE, DWORD reason,
                                                                        LPVOID) {
  const orla::LibraryUse library;
  if (!library) return TRUE;
  switch (reason) {
    case DLL_THREAD_ATTACH:
      library->OpenThreadRecord();
      break;
    case DLL_THREAD_DETACH:
      library->CloseThreadRecord();
      break;
    default:
      break;
  }
  return TRUE;
}
