// What the faulty layers share: the fault that waits for its call, and the books.
#pragma once

#include "platform/winapi.h"

#include <algorithm>

#include "support/FaultyPlatform.h"

namespace orla::faults {

/// Whether a call that fails does so before or after it is done.
enum When { kBefore, kAfter };

/// The state of the first thread. It is not thread-local, because the C++ runtime calls the platform
/// layer to find thread-local storage.
struct State {
  DWORD thread = 0;  // 0 until the program's static objects are initialized.
  bool armed = false;
  Fault fault{};
  int callsLeft = 0;
  const char* failedCall = nullptr;
  Books books;
  std::int64_t bytes = 0;      // Allocated by the thread and not yet freed.
  std::int64_t mostBytes = 0;  // 0: no limit.
};
extern State state;

inline bool isFirstThread() noexcept {
  return GetCurrentThreadId() == state.thread;
}

/// One call, and whether it is the one to fail.
class Call {
 public:
  Call(Kind kind, const char* name) noexcept {
    if (!isFirstThread() || !state.armed || !isOf(kind) || --state.callsLeft != 0) return;
    state.failedCall = name;
    chosen_ = true;
  }
  bool fails() const noexcept { return chosen_ && state.fault.way == Way::kFail; }
  template <class Length>
  void shorten(Length& length) const noexcept {
    if (chosen_ && state.fault.way == Way::kShort) length = std::min<Length>(length, 1);
  }

 private:
  static bool isOf(Kind kind) noexcept {
    return kind == state.fault.kind ||
           (kind == Kind::kInterruptible && state.fault.kind == Kind::kSystem);
  }

  bool chosen_ = false;
};

}  // namespace orla::faults
