// Programs that exit while their threads run commands: no process may crash, and every export must
// report an error after the library's destructor ran.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "orla/ORLACl.h"

namespace {

constexpr int kPrograms = 20;
constexpr int kThreads = 4;
constexpr const char* kUrl = "http://127.0.0.1:0/";  // Nothing listens on port 0.

void* library;
std::atomic<unsigned> rounds;

template <class Function>
Function* find(const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}
#define FIND(name) find<decltype(name)>(#name)

void awaitRounds(unsigned count) {
  for (const unsigned target = rounds + count; rounds < target;) std::this_thread::yield();
}

void runCommands() {
  const auto connect = FIND(ORLAConnect);
  const auto disconnect = FIND(ORLADisconnect);
  const auto version = FIND(ORLAGetVersion);
  const auto lastError = FIND(ORLAGetLastError);
  for (;; ++rounds) {
    std::uint32_t handle = 0, code = 0;
    std::uint16_t major, minor;
    connect(kUrl, "", 0, &handle);
    version(handle, &major, &minor);
    lastError(&code);
    disconnect(handle);
  }
}

void expectError(const char* name, orla_status status) {
  if (status == ORLA_ERROR_GENERAL) return;
  std::printf("%s returned %u after the library's destructor\n", name,
              static_cast<unsigned>(status));
  std::fflush(stdout);
  _exit(1);
}

#define CALL(name, ...) expectError(#name, FIND(name)(__VA_ARGS__))

/// Runs after the library's destructor, because it was registered before the library was loaded.
void checkExports() {
  std::uint32_t handle = 7, size = 8, code = 0;
  std::uint16_t major, minor;
  char text[8] = "";
  const char* const identities[] = {"id"};
  orla_progress_record record = {};
  const auto ignore = [](orla_progress_record*, const void*, std::uint32_t) {};
  CALL(ORLAInitialize, 0, nullptr);
  CALL(ORLAConnect, kUrl, "", 0, &handle);
  CALL(ORLADisconnect, handle);
  CALL(ORLAGetPackageName, handle, 1, 1, identities, text, &size);
  CALL(ORLASendPackage, handle, 1, 1, identities, "/dev/null", text, &size);
  CALL(ORLADownloadFile, handle, "/", "/nonexistent/file", ignore, &record, nullptr);
  CALL(ORLACleanup);
  CALL(ORLAGetVersion, handle, &major, &minor);
  CALL(ORLAGetLastError, &code);
  CALL(ORLAGetLastErrorMsg, text, sizeof text);
  awaitRounds(1000);
  _exit(0);
}

[[noreturn]] void runProgram() {
  std::atexit(checkExports);
  library = dlopen(ORLA_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  if (!library || FIND(ORLAInitialize)(0, nullptr) != ORLA_OK) _exit(2);
  for (int i = 0; i < kThreads; ++i) std::thread(runCommands).detach();
  awaitRounds(20);
  std::exit(0);
}

}  // namespace

int main() {
  for (int i = 0; i < kPrograms; ++i) {
    const pid_t child = fork();
    if (child == 0) runProgram();
    int status = -1;
    if (waitpid(child, &status, 0) != child || status != 0) {
      std::printf("program %d ended with wait status %#x\n", i, static_cast<unsigned>(status));
      return 1;
    }
  }
  return 0;
}
