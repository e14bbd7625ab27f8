// The entry point of the DLL: each thread's error record is opened and closed with the thread.
#include "platform/winapi.h"

#include "client/Library.h"
#include "library/ThreadNotice.h"

namespace orla {

void expectThreadEnd() {}

}  // namespace orla

extern "C" __attribute__((force_align_arg_pointer)) BOOL WINAPI DllMain(HINSTANCE, DWORD reason,
                                                                        LPVOID) {
  switch (reason) {
    case DLL_THREAD_ATTACH:
      orla::libraryObject().OpenThreadRecord();
      break;
    case DLL_THREAD_DETACH:
      orla::libraryObject().CloseThreadRecord();
      break;
    default:
      break;
  }
  return TRUE;
}
