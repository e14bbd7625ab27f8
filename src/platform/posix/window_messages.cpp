#include "platform/winapi.h"

namespace orla {

BOOL PeekMessageA(MSG*, HWND, UINT, UINT, UINT) noexcept {
  return FALSE;
}

BOOL TranslateMessage(const MSG*) noexcept {
  return FALSE;
}

std::intptr_t DispatchMessageA(const MSG*) noexcept {
  return 0;
}

}  // namespace orla
