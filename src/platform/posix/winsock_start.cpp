#include <algorithm>
#include <atomic>
#include <cstdio>
#include <utility>

#include "platform/posix/last_error.h"

namespace orla {

namespace {

constexpr WORD kVersion = 0x0101;            // 1.1: the major number in the low byte.
constexpr int kVersionNotSupported = 10092;  // WSAVERNOTSUPPORTED

std::atomic<int> starts{0};
constinit thread_local FARPROC blockingHook = nullptr;

}  // namespace

int WSAStartup(WORD version, WSADATA* data) noexcept {
  if ((version & 0xFF) == 0) return kVersionNotSupported;
  if (data == nullptr) return WSAEFAULT;
  *data = WSADATA{};
  data->wVersion = (version & 0xFF) == 1 ? std::min<WORD>(version, kVersion) : kVersion;
  data->wHighVersion = kVersion;
  std::snprintf(data->szDescription, sizeof data->szDescription, "Sockets 1.1");
  std::snprintf(data->szSystemStatus, sizeof data->szSystemStatus, "Running");
  data->iMaxSockets = 0x7FFF;
  data->iMaxUdpDg = 65467;
  ++starts;
  return 0;
}

int WSACleanup() noexcept {
  int count = starts;
  do {
    if (count == 0) return posix::failSocket(WSANOTINITIALISED);
  } while (!starts.compare_exchange_weak(count, count - 1));
  return 0;
}

FARPROC WSASetBlockingHook(FARPROC hook) noexcept {
  return std::exchange(blockingHook, hook);
}

int WSACancelBlockingCall() noexcept {
  return posix::failSocket(WSAEINVAL);
}

}  // namespace orla
