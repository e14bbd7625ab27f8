#pragma once

#include "platform/winapi.h"

#include <algorithm>
#include <cstdint>
#include <process.h>
#include <utility>

namespace orla::test {

/// What the tests need of the system. machine_posix.h has the same for POSIX.
struct Machine {
  static std::intptr_t start(const char* const* arguments) {
    return _spawnv(_P_NOWAIT, *arguments, arguments);
  }
  /// Waits for the end of a process. Returns its exit code, or -1 if it was killed.
  static int end(std::intptr_t id, bool kill) {
    auto* const process = reinterpret_cast<HANDLE>(id);
    DWORD code = 0;
    if (kill) TerminateProcess(process, static_cast<UINT>(-1));
    WaitForSingleObject(process, INFINITE);
    GetExitCodeProcess(process, &code);
    return CloseHandle(process) ? static_cast<int>(code) : 0;
  }
  /// A lock of the runtime, such as the one in the test's server, creates an event at its first
  /// contention.
  static constexpr std::ptrdiff_t kLateObjects = 4;
  /// Returns the number of open files and objects of this process, and the bytes of its heaps.
  static std::pair<std::ptrdiff_t, std::size_t> usage() {
    std::pair<std::ptrdiff_t, std::size_t> result;
    DWORD flags;  // GetProcessHandleCount() returns 0 under Wine.
    for (std::uintptr_t handle = 4; handle < 0x4000; handle += 4)
      result.first += GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags) != FALSE;
    HANDLE heaps[100];
    for (DWORD heap = std::min<DWORD>(GetProcessHeaps(100, heaps), 100); heap-- > 0;)
      for (PROCESS_HEAP_ENTRY block{}; HeapWalk(heaps[heap], &block);)
        result.second += (block.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? block.cbData : 0;
    return result;
  }
};

}  // namespace orla::test
