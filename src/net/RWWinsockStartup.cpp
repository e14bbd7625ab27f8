#include "net/RWWinsockStartup.h"

#include "net/RWNetErrors.h"

namespace orla {

namespace {

constexpr WORD kVersion = 0x0101;

// Winsock declares hooks with its generic procedure type.
FARPROC procedure(RWWinsockStartup::BlockingHook hook) {
  return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(hook));
}

RWWinsockStartup::BlockingHook hookNumbered(int number) {
  if (number != 0) throw RWNetNoSuchBlockingHookError(number);
  return RWWinsockStartup::pumpMessage;
}

/// Calls WSACleanup(). If a blocking call is in progress, cancels it and tries once more.
bool cleanUp() {
  if (WSACleanup() == 0) return true;
  return WSAGetLastError() == WSAEINPROGRESS && WSACancelBlockingCall() == 0 && WSACleanup() == 0;
}

}  // namespace

RWWinsockStartup::RWWinsockStartup() {
  const int result = WSAStartup(kVersion, &data_);
  if (result != 0) throw RWNetWinsockInitError(result);
}

// Delegating completes the object first, so if hookNumbered() throws, the destructor runs and
// Winsock is cleaned up.
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
