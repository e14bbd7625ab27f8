#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <signal.h>
#include <string_view>
#include <unistd.h>

#include "system.h"

namespace orla::cli {
namespace {

std::atomic<bool> interruptSeen{false};
static_assert(std::atomic<bool>::is_always_lock_free);  // because a signal handler sets it

extern "C" void onInterrupt(int) {
  const int error = errno;  // of the interrupted call
  interruptSeen = true;
  // A failure is ignored, because the interrupt has been recorded already.
  [[maybe_unused]] const ssize_t shown =
      ::write(STDERR_FILENO, kInterruptNotice, sizeof kInterruptNotice - 1);
  errno = error;
}

}  // namespace

std::vector<std::string> commandLine(int argc, char** argv) {
  return {argv + 1, argv + argc};
}

std::string libraryPath(const std::string& path) {
  return path.find('/') == std::string::npos ? "./" + path : path;
}

bool isTerminal(std::FILE* stream) {
  return ::isatty(::fileno(stream)) != 0;
}

bool enableColor(std::FILE* stream) {
  const char* kind = std::getenv("TERM");
  return isTerminal(stream) && kind != nullptr && std::string_view(kind) != "dumb";
}

void catchFirstInterrupt() {
  struct sigaction action {};
  // The parent process may have set SIGINT to be ignored. A shell script does so for the programs
  // that it starts in the background.
  if (::sigaction(SIGINT, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = onInterrupt;
  // The first signal restores the default action, so the second one ends the process.
  action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  ::sigaction(SIGINT, &action, nullptr);
}

bool interrupted() {
  return interruptSeen;
}

}  // namespace orla::cli
