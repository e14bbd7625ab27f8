// Winsock's startup and cleanup.
#pragma once

#include "platform/winapi.h"

#include "foundation/UnwindDetector.h"

namespace orla {

/// Keeps Winsock 1.1 started while the object exists. Winsock counts its startups, so several
/// objects may exist. Create one before the first socket and destroy it after the last. The same
/// thread must do both if the object sets a blocking hook, because a hook belongs to a thread.
class RWWinsockStartup {
 public:
  /// Winsock calls it repeatedly while a blocking call of the thread waits. It returns TRUE if it
  /// handled something and there may be more.
  using BlockingHook = BOOL(CALLBACK*)();

  /// Throws RWNetWinsockInitError if Winsock does not start.
  RWWinsockStartup();
  /// Also sets the calling thread's blocking hook.
  explicit RWWinsockStartup(BlockingHook hook);
  /// The same with a hook by number: 0 is the message pump. Throws RWNetNoSuchBlockingHookError for
  /// any other number, after it cleaned Winsock up again.
  explicit RWWinsockStartup(int hookNumber);
  RWWinsockStartup(const RWWinsockStartup&) = delete;
  RWWinsockStartup& operator=(const RWWinsockStartup&) = delete;
  /// Restores the previous hook and calls WSACleanup(), canceling a blocking call if one is in
  /// progress. Throws RWNetWinsockInitError if that fails, unless an exception is unwinding the
  /// stack.
  ~RWWinsockStartup() noexcept(false);

  const WSADATA& data() const noexcept { return data_; }

  /// The message pump: removes one message from the thread's queue and dispatches it. Returns TRUE
  /// if there was one.
  static BOOL CALLBACK pumpMessage();

 private:
  WSADATA data_{};
  FARPROC previousHook_ = nullptr;
  const UnwindDetector unwind_;
};

}  // namespace orla
