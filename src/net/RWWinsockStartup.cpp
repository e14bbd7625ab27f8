#include "net/RWWinsockStartup.h"

#include "net/RWNetErrors.h"

namespace orla {

namespace {

constexpr WORD kVersion = 0x0101;

// Winsock takes a hook by the type of any procedure.
FARPROC procedure(RWWinsockStartup::BlockingHook hook) {
  return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(hook));
}

RWWinsockStartup::BlockingHook hookNumbered(int number) {
  if (number != 0) throw RWNetNoSuchBlockingHookError(number);
  return RWWinsockStartup::pumpMessage;
}

/// Takes one start back, with a blocking call that is in the way cancelled once.
bool cleanUp() {
  if (WSACleanup() == 0) return true;
  return WSAGetLastError() == WSAEINPROGRESS && WSACancelBlockingCall() == 0 && WSACleanup() == 0;
}

}  // namespace

RWWinsockStartup::RWWinsockStartup() {
  const int result = WSAStartup(kVersion, &data_);
  if (result != 0) throw RWNetWinsockInitError(result);
}

// The delegated constructor makes the object whole, so that a hook that cannot be chosen has it
// destroyed, and Winsock cleaned up.
RWWinsockStartup::RWWinsockStartup(BlockingHook hook) : RWWinsockStartup() {
  previousHook_ = WSASetBlockingHook(procedure(hook));
}

RWWinsockStartup::RWWinsockStartup(int hookNumber) : RWWinsockStartup() {
  previousHook_ = WSASetBlockingHook(procedure(hookNumbered(hookNumber)));
}

RWWinsockStartup::~RWWinsockStartup() noexcept(false) {
  if (previousHook_) WSASetBlockingHook(previousHook_);
  if (cleanUp()) return;
  const int code = WSAGetLastError();
  if (!unwind_.isUnwinding()) throw RWNetWinsockInitError(code);
}

BOOL CALLBACK RWWinsockStartup::pumpMessage() {
  MSG message;
  const BOOL taken = PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE);
  if (taken) {
    TranslateMessage(&message);
    DispatchMessageA(&message);
  }
  return taken;
}

}  // namespace orla
