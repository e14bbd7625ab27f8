// A critical section that can always be entered, and the scope that holds it.
#pragma once

#include "platform/winapi.h"

#include <cstdint>

#include "foundation/ThreadAnnotations.h"

namespace orla {

/// A recursive lock of one process. It is initialized at construction, and again by the first Enter
/// that finds it uninitialized, because static objects of the library may be used before they are
/// constructed or after they are destroyed. That test is not guarded: only one thread runs then.
class ORLA_CAPABILITY("critical section") CVekCritSec {
 public:
  CVekCritSec() { Initialise(); }
  CVekCritSec(const CVekCritSec&) = delete;
  CVekCritSec& operator=(const CVekCritSec&) = delete;
  ~CVekCritSec() { Delete(); }

  void Enter() ORLA_ACQUIRE() {
    Initialise();
    EnterCriticalSection(&section_);
  }

  void Leave() ORLA_RELEASE() { LeaveCriticalSection(&section_); }

  /// Frees the system's object, if there is one. No thread may hold it. The next Enter creates a
  /// new one.
  void Delete() {
    if (!initialised_) return;
    initialised_ = 0;
    DeleteCriticalSection(&section_);
  }

 private:
  void Initialise() {
    if (initialised_) return;
    InitializeCriticalSection(&section_);
    initialised_ = 1;
  }

  CRITICAL_SECTION section_;
  std::int32_t initialised_ = 0;
};

/// Holds a critical section for the length of a scope.
class ORLA_SCOPED_CAPABILITY CVekCritSecLock {
 public:
  explicit CVekCritSecLock(CVekCritSec& section) ORLA_ACQUIRE(section) : section_(section) {
    section_.Enter();
  }
  CVekCritSecLock(const CVekCritSecLock&) = delete;
  CVekCritSecLock& operator=(const CVekCritSecLock&) = delete;
  ~CVekCritSecLock() ORLA_RELEASE() { section_.Leave(); }

 private:
  CVekCritSec& section_;
};

}  // namespace orla
