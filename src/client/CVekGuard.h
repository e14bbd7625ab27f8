// A lock for any number of readers or one writer, across all processes that create it under the
// same name.
//
// It consists of three named kernel objects:
//
//   no-writer mutex    held by a writer until it leaves, and by a reader only while it counts
//                      itself in or out
//   no-readers event   signaled exactly when no reader is inside
//   reader count       a semaphore whose count is the number of readers inside
//
// Thread-safe between Create and Close. A thread that holds the lock as reader and acquires it as
// writer deadlocks.
#pragma once

#include <cstdint>

namespace orla {

class CVekGuard {
 public:
  /// Has no kernel objects: every acquisition fails until Create succeeds.
  CVekGuard() noexcept = default;
  CVekGuard(const CVekGuard&) = delete;
  CVekGuard& operator=(const CVekGuard&) = delete;
  ~CVekGuard() { Close(); }

  /// Creates the three objects, or opens those that exist, after closing any that it holds. Returns
  /// false and holds none if one is unavailable or its name would have 260 characters or more. With
  /// a null `suffix` the objects have no name and belong to this guard alone.
  bool Create(const char* suffix) noexcept;

  /// Closes the objects. No thread may hold the lock or wait for it.
  void Close() noexcept;

  // Acquisitions wait at most `milliseconds` (0xFFFFFFFF: without limit) and return:
  //   0           acquired
  //   128         acquired; the mutex's previous owner ended without releasing it
  //   258         timed out
  //   0xFFFFFFFF  failed, for example without kernel objects
  // The forms that return bool return true unless the result is 258 or 0xFFFFFFFF.

  std::uint32_t AcquireWrite(std::uint32_t milliseconds) noexcept;
  bool TryAcquireWrite(std::uint32_t milliseconds) noexcept;
  void ReleaseWrite() noexcept;

  /// A reader that timed out is counted anyway and must still call ReleaseRead, so that every
  /// acquisition has one release whatever its result.
  std::uint32_t AcquireRead(std::uint32_t milliseconds) noexcept;
  bool TryAcquireRead(std::uint32_t milliseconds) noexcept;
  /// Waits without a timeout, because it has to acquire the no-writer mutex.
  void ReleaseRead() noexcept;

 private:
  bool IsCreated() const noexcept { return noWriter_ && noReaders_ && readers_; }

  void* noWriter_ = nullptr;
  void* noReaders_ = nullptr;
  void* readers_ = nullptr;
};

/// Acquires a guard as writer, without a time limit, and releases it at the end of the scope.
class CVekWriterLock {
 public:
  CVekWriterLock() noexcept = default;
  CVekWriterLock(const CVekWriterLock&) = delete;
  CVekWriterLock& operator=(const CVekWriterLock&) = delete;
  ~CVekWriterLock();

  /// Returns false if the guard is null or cannot be acquired, or if this lock was used before.
  bool Lock(CVekGuard* guard) noexcept;

 private:
  CVekGuard* guard_ = nullptr;
};

/// Acquires a guard as reader, without a time limit, and releases it at the end of the scope.
class CVekReaderLock {
 public:
  CVekReaderLock() noexcept = default;
  CVekReaderLock(const CVekReaderLock&) = delete;
  CVekReaderLock& operator=(const CVekReaderLock&) = delete;
  ~CVekReaderLock();

  /// Returns false if the guard is null or cannot be acquired, or if this lock was used before.
  bool Lock(CVekGuard* guard) noexcept;

 private:
  CVekGuard* guard_ = nullptr;
};

}  // namespace orla
