// What the tests of kernel objects share.
#pragma once

#include "platform/winapi.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <thread>
#include <utility>

namespace orla {

/// Owns a handle.
class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) { EXPECT_NE(handle, nullptr); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { close(); }

  operator HANDLE() const { return handle_; }
  void close() {
    if (handle_ != nullptr) {
      EXPECT_TRUE(CloseHandle(std::exchange(handle_, nullptr)));
    }
  }

 private:
  HANDLE handle_;
};

inline HANDLE makeMutex(const std::string& name = "") {
  return CreateMutexA(nullptr, FALSE, name.empty() ? nullptr : name.c_str());
}
inline HANDLE makeEvent(BOOL manualReset, BOOL initialState, const std::string& name = "") {
  return CreateEventA(nullptr, manualReset, initialState, name.empty() ? nullptr : name.c_str());
}
inline HANDLE makeSemaphore(LONG initial, LONG maximum, const std::string& name = "") {
  return CreateSemaphoreA(nullptr, initial, maximum, name.empty() ? nullptr : name.c_str());
}

/// A name that no other test uses, with the signs that names have.
inline std::string freshName() {
  std::random_device random;
  return "Orla.Test.Object@" + std::to_string(random()) + "-" + std::to_string(random());
}

inline DWORD poll(HANDLE object) {
  return WaitForSingleObject(object, 0);
}

/// Polls on another thread, which gives nothing back.
inline DWORD pollElsewhere(HANDLE object) {
  DWORD result = WAIT_FAILED;
  std::thread([&] { result = poll(object); }).join();
  return result;
}

inline DWORD waitForBoth(HANDLE first, HANDLE second, DWORD milliseconds) {
  const HANDLE both[] = {first, second};
  return WaitForMultipleObjects(2, both, TRUE, milliseconds);
}

}  // namespace orla
