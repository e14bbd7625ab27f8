// What a HANDLE points to: a file, or an object that threads wait for.
#pragma once

#include "platform/winapi.h"

namespace orla::posix {

/// A HANDLE is a pointer to one of these; CloseHandle ends it. Every live handle of one object in
/// the process is the same pointer.
class Object {
 public:
  enum class Kind : std::uint32_t { file = 1, mutex, event, semaphore };

  explicit Object(Kind kind) noexcept : kind_(kind) {}
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  Kind kind() const noexcept { return kind_; }

  /// Gives one handle back and, with the last one, deletes the object: ERROR_SUCCESS, or the code
  /// of what the end met.
  virtual DWORD close() noexcept = 0;

 private:
  const Kind kind_;
};

/// The object behind a handle, as a T; null with ERROR_INVALID_HANDLE for a handle that is none or
/// is of another kind. T names its kind as T::kKind.
template <typename T>
T* objectOf(HANDLE handle) noexcept {
  if (handle != nullptr && handle != INVALID_HANDLE_VALUE) {
    auto* object = static_cast<Object*>(handle);
    if (object->kind() == T::kKind) return static_cast<T*>(object);
  }
  SetLastError(ERROR_INVALID_HANDLE);
  return nullptr;
}

}  // namespace orla::posix
