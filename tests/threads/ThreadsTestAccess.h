// Gives the tests of the thread layer access to its internals: system handles, to break them, and
// the waiting threads.
#pragma once

#include "platform/winapi.h"

#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <utility>

#include "threads/RWPCBufferBase.h"
#include "threads/RWTHRErrors.h"

namespace orla {

struct ThreadsTestAccess {
  static void*& handle(auto& primitive) { return primitive.handle_; }
  static auto& waiters(RWCondition& condition) { return condition.waiters_; }
  static RWMutexLock& lock(RWPCBufferBase& buffer) { return buffer.mutex_; }
  static RWCondition& notEmpty(RWPCBufferBase& buffer) { return buffer.notEmpty_; }
  static RWCondition& notFull(RWPCBufferBase& buffer) { return buffer.notFull_; }
};
using Access = ThreadsTestAccess;
using LockGuard = RWTMonitor<RWMutexLock>::LockGuard;

/// Returns the text of the `Error` that `call` throws.
template <class Error = RWTHRInternalError>
std::string textOf(auto call) {
  try {
    call();
  } catch (const Error& error) {
    return error.why();
  }
  return "nothing thrown";
}

auto inBackground(auto call) {
  return std::async(std::launch::async, std::move(call));
}

/// Returns true if another thread can acquire `lock` within `milliseconds`.
inline bool isFree(RWMutexLock& lock, std::uint32_t milliseconds = 0) {
  const auto acquire = [&] {
    if (!lock.acquire(milliseconds)) return false;
    lock.release();
    return true;
  };
  return inBackground(acquire).get();
}

/// Blocks until `number` threads wait for `condition`, which is bound to `lock`.
inline void awaitWaiters(RWMutexLock& lock, RWCondition& condition, std::size_t number) {
  const auto waiting = [&] {
    const LockGuard guard(lock);
    return Access::waiters(condition).size();
  };
  while (waiting() != number) std::this_thread::yield();
}

}  // namespace orla
