#pragma once

#include <csignal>
#include <filesystem>
#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

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
  static constexpr std::ptrdiff_t kLateObjects = 0;
  /// What this process has: open files and objects, with its threads; and bytes of the heap.
  static std::pair<std::ptrdiff_t, std::size_t> usage() {
    std::ptrdiff_t count = 0;
    for (const char* folder : {"/proc/self/fd", "/proc/self/task"})
      count += std::distance(std::filesystem::directory_iterator(folder), {});
    auto* const sanitized = __sanitizer_get_current_allocated_bytes;
    return {count, sanitized ? sanitized() : ::mallinfo2().uordblks};
  }
};

}  // namespace orla::test
