#pragma once

#include "platform/winapi.h"

#include <algorithm>
#include <cstdint>
#include <process.h>
#include <utility>

namespace orla::test {

/// The system's own means; the twins answer alike.
struct Machine {
  static std::intptr_t start(const char* const* arguments) {
    return _spawnv(_P_NOWAIT, *arguments, arguments);
  }
  /// Waits for the end of a process; its exit code, -1 for a killed one.
  static int end(std::intptr_t id, bool kill) {
    auto* const process = reinterpret_cast<HANDLE>(id);
    DWORD code = 0;
    if (kill) TerminateProcess(process, static_cast<UINT>(-1));
    WaitForSingleObject(process, INFINITE), GetExitCodeProcess(process, &code);
    return CloseHandle(process) ? static_cast<int>(code) : 0;
  }
  /// A lock of the runtime, such as the test's server has, makes an event when it is first contended.
  static constexpr std::ptrdiff_t kLateObjects = 4;
  /// What this process has: open files and objects, and bytes of the heap.
  static std::pair<std::ptrdiff_t, std::size_t> usage() {
    std::pair<std::ptrdiff_t, std::size_t> result;
    DWORD flags;  // GetProcessHandleCount() answers 0 under Wine.
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
