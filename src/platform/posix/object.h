// What a HANDLE points to: a file, or an object that threads wait for.
#pragma once

#include "platform/winapi.h"

namespace orla::posix {

/// A HANDLE is a pointer to an Object; CloseHandle closes it. All handles that a process has of one
/// object are the same pointer.
class Object {
 public:
  enum class Kind : std::uint32_t { kFile = 1, kMutex, kEvent, kSemaphore };

  explicit Object(Kind kind) noexcept : kind_(kind) {}
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  Kind kind() const noexcept { return kind_; }

  /// Closes one handle, and deletes the object with the last one. Returns ERROR_SUCCESS, or the code
  /// of an error that closing reported.
  virtual DWORD close() noexcept = 0;

 private:
  const Kind kind_;
};

/// Returns the object behind a handle as a T, whose kind is T::kKind. Returns null, with
/// ERROR_INVALID_HANDLE, for an invalid handle or an object of another kind.
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
