// Forked child processes, for tests that break what the whole process needs.
#pragma once

#include <cstddef>
#include <fcntl.h>
#include <functional>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orla {

/// Runs `work` in a child process. Returns the value that it returned, 0 to 255, or -1 if a signal
/// ended the child, which happens after 20 seconds at the latest.
inline int inChild(const std::function<int()>& work) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(20);
    ::_exit(work());
  }
  int status = -1;
  const bool ended = child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status);
  return ended ? WEXITSTATUS(status) : -1;
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
