#pragma once

#include <array>
#include <csignal>
#include <filesystem>
#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace orla::test {

/// The system's own means; the twins answer alike.
struct Machine {
  static pid_t start(const char* const* arguments) {
    pid_t id = 0;
    ::posix_spawn(&id, *arguments, nullptr, nullptr, const_cast<char**>(arguments), environ);
    return id;
  }
  /// Waits for the end of a process; its exit code, -1 for a killed one.
  static int end(pid_t id, bool kill) {
    int status = -1;
    if (kill) ::kill(id, SIGKILL);
    return ::waitpid(id, &status, 0) == id && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  /// What this process has: open files and objects, threads, bytes of the heap.
  static std::array<std::size_t, 3> usage() {
    const auto count = [](const char* folder) {
      return static_cast<std::size_t>(
          std::distance(std::filesystem::directory_iterator(folder), {}));
    };
    auto* const sanitized = __sanitizer_get_current_allocated_bytes;
    const std::size_t heap = sanitized ? sanitized() : ::mallinfo2().uordblks;
    return {count("/proc/self/fd"), count("/proc/self/task"), heap};
  }
};

}  // namespace orla::test
