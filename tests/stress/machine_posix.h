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

/// What the tests need of the system. machine_win32.h has the same for Windows.
struct Machine {
  static pid_t start(const char* const* arguments) {
    pid_t id = 0;
    ::posix_spawn(&id, *arguments, nullptr, nullptr, const_cast<char**>(arguments), environ);
    return id;
  }
  /// Waits for the end of a process. Returns its exit code, or -1 if it was killed.
  static int end(pid_t id, bool kill) {
    int status = -1;
    if (kill) ::kill(id, SIGKILL);
    return ::waitpid(id, &status, 0) == id && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  /// How many objects the runtime may create late.
  static constexpr std::ptrdiff_t kLateObjects = 0;
  /// Returns the number of open files and threads of this process, and the bytes of its heap.
  static std::pair<std::ptrdiff_t, std::size_t> usage() {
    std::ptrdiff_t count = 0;
    for (const char* folder : {"/proc/self/fd", "/proc/self/task"})
      count += std::distance(std::filesystem::directory_iterator(folder), {});
    auto* const sanitized = __sanitizer_get_current_allocated_bytes;
    return {count, sanitized ? sanitized() : ::mallinfo2().uordblks};
  }
};

}  // namespace orla::test
