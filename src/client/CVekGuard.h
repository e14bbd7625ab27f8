// A lock that lets in any number of readers or one writer, across all processes of the system that
// create it under one name.
//
// It consists of three named kernel objects:
//
//   no-writer mutex    held by a writer for its whole stay, by a reader only for the moment of
//                      counting itself in or out
//   no-readers event   signalled exactly when no reader is inside
//   reader count       a semaphore whose count is the number of readers inside
//
// Thread-safe between Create and Close. A thread that is inside as reader and asks to be let in as
// writer waits for itself.
#pragma once

#include <cstdint>

namespace orla {

class CVekGuard {
 public:
  /// Without kernel objects: every acquisition is refused until Create succeeds.
  CVekGuard() noexcept = default;
  CVekGuard(const CVekGuard&) = delete;
  CVekGuard& operator=(const CVekGuard&) = delete;
  ~CVekGuard() { Close(); }

  /// Creates the three objects, or opens them where they exist; gives back any it had. False when
  /// one could not be had, also when `suffix` makes a name of 260 characters or more; then none is
  /// kept. A null suffix makes objects without a name, of this guard alone.
  bool Create(const char* suffix) noexcept;

  /// Gives the objects back; nobody may be inside or waiting.
  void Close() noexcept;

  // Acquisitions wait at most `milliseconds` (0xFFFFFFFF: without limit) and answer:
  //   0           taken
  //   128         taken; the mutex's previous owner ended without releasing it
  //   258         not taken in time
  //   0xFFFFFFFF  the wait failed, as it does without kernel objects
  // The forms that answer bool are true unless the result is 258 or 0xFFFFFFFF.

  std::uint32_t AcquireWrite(std::uint32_t milliseconds) noexcept;
  bool TryAcquireWrite(std::uint32_t milliseconds) noexcept;
  void ReleaseWrite() noexcept;

  /// A reader that was not let in in time is counted all the same and must still call ReleaseRead:
  /// acquisition and release stay in pairs whatever the result.
  std::uint32_t AcquireRead(std::uint32_t milliseconds) noexcept;
  bool TryAcquireRead(std::uint32_t milliseconds) noexcept;
  /// Waits without limit, also for a writer inside.
  void ReleaseRead() noexcept;

 private:
  bool IsCreated() const noexcept { return noWriter_ && noReaders_ && readers_; }

  void* noWriter_ = nullptr;
  void* noReaders_ = nullptr;
  void* readers_ = nullptr;
};

/// Takes a guard as writer, without a time limit, and gives it back at the end of the scope.
class CVekWriterLock {
 public:
  CVekWriterLock() noexcept = default;
  CVekWriterLock(const CVekWriterLock&) = delete;
  CVekWriterLock& operator=(const CVekWriterLock&) = delete;
  ~CVekWriterLock();

  /// False when the guard is null or refuses, and when this lock was used before.
  bool Lock(CVekGuard* guard) noexcept;

 private:
  CVekGuard* guard_ = nullptr;
};

/// Takes a guard as reader, without a time limit, and gives it back at the end of the scope.
class CVekReaderLock {
 public:
  CVekReaderLock() noexcept = default;
  CVekReaderLock(const CVekReaderLock&) = delete;
  CVekReaderLock& operator=(const CVekReaderLock&) = delete;
  ~CVekReaderLock();

  /// False when the guard is null or refuses, and when this lock was used before.
  bool Lock(CVekGuard* guard) noexcept;

 private:
  CVekGuard* guard_ = nullptr;
};

}  // namespace orla
