// Forked child processes, for tests that change what the whole process needs.
#pragma once

#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orla {

/// What a child process returns that lacks the rights for its test.
constexpr int kNoRights = 77;

/// Runs `work` in a child process. Returns the value that it returned, 0 to 255, or -1 if a signal
/// ended the child, which happens after 60 seconds at the latest.
inline int inChild(const std::function<int()>& work) {
  std::fflush(stdout);  // Otherwise the child prints it too.
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(60);
    ::_exit(work());
  }
  int status = -1;
  const bool ended = child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status);
  return ended ? WEXITSTATUS(status) : -1;
}

/// Runs `work`, which contains expectations, in a child process. Returns 0 if all were met. A child
/// without standard output cannot print the others.
inline int checkInChild(const std::function<void()>& work) {
  return inChild([&] {
    work();
    std::fflush(stdout);
    return testing::Test::HasFailure() ? 1 : 0;
  });
}

/// Makes every later call of the system call `number` fail with `error`, in this process. Returns
/// false if the system does not allow that.
inline bool failSystemCall(long number, int error) {
  ::sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, 0),  // The system call's number.
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(number), 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const ::sock_fprog program{sizeof filter / sizeof *filter, filter};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

}  // namespace orla
