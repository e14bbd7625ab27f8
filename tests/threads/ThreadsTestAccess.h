// What the thread layer's tests see of its insides: system handles, to break them, and who sleeps.
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

/// The text of the `Error` that `call` throws.
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

/// True when another thread gets `lock` within `milliseconds`.
inline bool isFree(RWMutexLock& lock, std::uint32_t milliseconds = 0) {
  const auto acquire = [&] { return lock.acquire(milliseconds) && (lock.release(), true); };
  return inBackground(acquire).get();
}

inline void awaitSleepers(RWMutexLock& lock, RWCondition& condition, std::size_t number) {
  for (std::size_t now = ~number; now != number; std::this_thread::yield())
    now = (LockGuard(lock), Access::waiters(condition).size());
}

}  // namespace orla
