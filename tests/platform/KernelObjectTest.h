#pragma once

#include "platform/winapi.h"

#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <thread>
#include <utility>

namespace orla {

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) { EXPECT_NE(handle, nullptr); }
  Handle(const Handle&) = delete;
  ~Handle() { close(); }

  operator HANDLE() const { return handle_; }
  void close() {
    if (handle_ != nullptr && !CloseHandle(std::exchange(handle_, nullptr))) ADD_FAILURE();
  }

 private:
  HANDLE handle_;
};

inline HANDLE makeMutex(const std::string& name = "", BOOL owned = FALSE) {
  return CreateMutexA(nullptr, owned, name.empty() ? nullptr : name.c_str());
}
inline HANDLE makeEvent(BOOL manualReset, BOOL initialState, const std::string& name = "") {
  return CreateEventA(nullptr, manualReset, initialState, name.empty() ? nullptr : name.c_str());
}
inline HANDLE makeSemaphore(LONG initial, LONG maximum, const std::string& name = "") {
  return CreateSemaphoreA(nullptr, initial, maximum, name.empty() ? nullptr : name.c_str());
}

inline std::string freshName() {
  return "Orla.Test.Object@" + std::to_string(std::random_device()()) + "-";
}

/// The code of a call that returned FALSE or null; 0 for one that succeeded.
template <typename Result>
DWORD codeOf(Result result) {
  return result ? 0 : GetLastError();
}

inline DWORD poll(HANDLE object) {
  return WaitForSingleObject(object, 0);
}
inline DWORD waitForBoth(HANDLE first, HANDLE second, DWORD milliseconds) {
  const HANDLE both[] = {first, second};
  return WaitForMultipleObjects(2, both, TRUE, milliseconds);
}

inline void elsewhere(const std::function<void()>& work) {
  std::thread(work).join();
}

}  // namespace orla
