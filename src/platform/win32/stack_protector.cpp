// The runtime support for code that is compiled with a stack protector and with checked buffer
// functions.
// The compiler's own library for it would make every agent import ADVAPI32, and would call it while
// the DLL is being loaded. This one needs KERNEL32 only.
#include <cstdint>
#include <windows.h>

extern "C" {

/// Every protected function stores this value between its buffers and its return address, and
/// compares it before it returns.
extern std::uintptr_t __stack_chk_guard;
std::uintptr_t __stack_chk_guard = 0;

/// Called when the two values differ. Ends the process at once, because nothing on the stack can be
/// trusted, exception handlers included. Windows reports a stack buffer overrun.
[[noreturn]] void __stack_chk_fail() {
  if (IsProcessorFeaturePresent(PF_FASTFAIL_AVAILABLE)) {
    __asm__ volatile("int $0x29" : : "c"(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE));
  }
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(STATUS_STACK_BUFFER_OVERRUN));
  __builtin_trap();
}

/// Called when a checked function such as memcpy() would write past the end of a buffer.
[[noreturn]] void __chk_fail() {
  __stack_chk_fail();
}

}  // extern "C"

namespace {

/// Gives the guard a different value in each process, before any other code of this file's program
/// or DLL runs. Combines the same values as Microsoft's compiler does: times, identifiers and an
/// address.
__attribute__((constructor(101), no_stack_protector)) void setGuard() {
  FILETIME time;
  GetSystemTimeAsFileTime(&time);
  LARGE_INTEGER counter;
  QueryPerformanceCounter(&counter);
  const auto address = reinterpret_cast<std::uintptr_t>(&counter);
  __stack_chk_guard = address ^ time.dwLowDateTime ^ time.dwHighDateTime ^ counter.LowPart ^
                      GetCurrentProcessId() ^ (GetCurrentThreadId() << 16);
}

}  // namespace
