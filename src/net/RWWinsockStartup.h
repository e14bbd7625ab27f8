// Winsock's start-up and clean-up.
#pragma once

#include "platform/winapi.h"

#include "foundation/UnwindDetector.h"

namespace orla {

/// Keeps Winsock 1.1 started while it lives. Winsock counts: each object cleans up its own start.
/// Made before the first socket and destroyed after the last, by the thread whose hook it sets.
class RWWinsockStartup {
 public:
  /// Called over and over while a blocking call of the thread waits; returns TRUE when it did
  /// something and more may be waiting.
  using BlockingHook = BOOL(CALLBACK*)();

  /// Throws RWNetWinsockInitError when Winsock does not start.
  RWWinsockStartup();
  /// Also sets the calling thread's blocking hook.
  explicit RWWinsockStartup(BlockingHook hook);
  /// The hook by number: 0 is the message pump. Throws RWNetNoSuchBlockingHookError for any other,
  /// and leaves Winsock as it was.
  explicit RWWinsockStartup(int hookNumber);
  RWWinsockStartup(const RWWinsockStartup&) = delete;
  RWWinsockStartup& operator=(const RWWinsockStartup&) = delete;
  /// Sets the hook of before again and cleans up, cancelling a blocking call that is in the way.
  /// Raises RWNetWinsockInitError when that fails, unless an exception is unwinding the stack.
  ~RWWinsockStartup() noexcept(false);

  const WSADATA& data() const noexcept { return data_; }

  /// The message pump: takes one message of the thread's queue and dispatches it; TRUE when there
  /// was one.
  static BOOL CALLBACK pumpMessage();

 private:
  WSADATA data_{};
  FARPROC previousHook_ = nullptr;
  const UnwindDetector unwind_;
};

}  // namespace orla
