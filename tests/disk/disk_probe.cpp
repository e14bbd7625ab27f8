// An agent that runs commands in turn on one connection, and prints what each leaves it to see: its
// status, the thread's code and the library's message.
//   orla_disk_probe URL [OPERATION PATH]...
// An operation is "/target" (download it to PATH), "send" (upload PATH), "version", or "hold" (keep
// PATH open to the end, shared with nobody where the system has that).
#include "platform/winapi.h"

#include <cstdio>
#include <string>

#include "orla/ORLACl.h"

namespace orla {
namespace {

void ORLA_CALL goOn(orla_progress_record*, const void*, std::uint32_t) {}

int run(const char* url, char** operation) {
  HANDLE held = nullptr;
  std::uint32_t handle = 0, code = 0, size = 0;
  std::uint16_t major, minor;
  orla_progress_record record = {};
  if (ORLAInitialize(0, nullptr) || ORLAConnect(url, "", 0, &handle)) return 2;
  for (; *operation; operation += 2) {
    const std::string what = operation[0];
    const char* const path = operation[1];
    if (what == "hold") {
      held = CreateFileA(path, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
      if (held == INVALID_HANDLE_VALUE) return 3;
      continue;
    }
    const orla_status status =
        what == "version" ? ORLAGetVersion(handle, &major, &minor)
        : what == "send"  ? ORLASendPackage(handle, 1, 0, nullptr, path, nullptr, &(size = 0))
                          : ORLADownloadFile(handle, what.c_str(), path, goOn, &record, nullptr);
    char message[ORLA_MESSAGE_SIZE];
    ORLAGetLastError(&code);
    ORLAGetLastErrorMsg(message, sizeof message);
    std::printf("%u %u %s\n", status, code, message);
  }
  return held && !CloseHandle(held) ? 4 : 0;
}

}  // namespace
}  // namespace orla

int main(int argc, char** argv) {
  return argc < 2 || argc % 2 != 0 ? 1 : orla::run(argv[1], argv + 2);
}
