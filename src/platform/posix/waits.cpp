#include <algorithm>
#include <array>

#include "platform/posix/kernel_object.h"
#include "platform/posix/last_error.h"

namespace orla {

using posix::Deadline;
using posix::KernelObject;
using posix::Mutex;
using posix::Object;
using posix::Signal;

namespace {

constexpr std::size_t kMostObjects = 8;

Deadline deadlineAfter(DWORD milliseconds) {
  if (milliseconds == INFINITE) return {};
  return posix::Clock::now() + std::chrono::milliseconds(milliseconds);
}

DWORD failWait(DWORD error) {
  SetLastError(error);
  return WAIT_FAILED;
}

/// Null with ERROR_INVALID_HANDLE for a handle that no thread can wait for.
KernelObject* kernelObjectOf(HANDLE handle) {
  if (handle != nullptr && handle != INVALID_HANDLE_VALUE) {
    auto* object = static_cast<Object*>(handle);
    if (object->kind() != Object::Kind::file) return static_cast<KernelObject*>(object);
  }
  SetLastError(ERROR_INVALID_HANDLE);
  return nullptr;
}

/// A wait for all of some mutexes and at most one signal, which is taken last: a count must not
/// seem lower, even for a moment, to whoever holds the mutex that goes with it.
class WaitForAll {
 public:
  void add(Mutex* mutex) { mutexes_[mutexCount_++] = mutex; }
  /// False when there is one already.
  bool add(Signal* signal) {
    if (signal_ != nullptr) return false;
    signal_ = signal;
    return true;
  }

  /// Takes all; false, with nothing taken, when the deadline passed first.
  bool run(const Deadline& deadline) {
    Mutex* held = nullptr;
    for (;;) {
      // No mutex is touched in vain while the signal is not set.
      if (signal_ == nullptr || signal_->isSet()) {
        Mutex* const missing = tryTakeMutexes(held);
        if (missing == nullptr && (signal_ == nullptr || signal_->tryTake())) return true;
        giveBackMutexes();
        held = missing;
      } else if (held != nullptr) {
        held->release();
        held = nullptr;
      }
      // Asleep on one object, this thread holds none. A mutex is taken when it wakes up.
      if (held != nullptr ? !held->take(deadline) : !signal_->await(deadline)) return false;
    }
  }

 private:
  /// Takes every mutex but `held`, which is taken already. The first one that another thread owns
  /// ends it.
  Mutex* tryTakeMutexes(const Mutex* held) {
    taken_.fill(false);
    for (std::size_t i = 0; i < mutexCount_; ++i) taken_[i] = mutexes_[i] == held;
    for (std::size_t i = 0; i < mutexCount_; ++i) {
      if (!taken_[i] && !mutexes_[i]->tryTake()) return mutexes_[i];
      taken_[i] = true;
    }
    return nullptr;
  }

  void giveBackMutexes() {
    for (std::size_t i = 0; i < mutexCount_; ++i)
      if (taken_[i]) mutexes_[i]->release();
  }

  std::array<Mutex*, kMostObjects> mutexes_{};
  std::array<bool, kMostObjects> taken_{};
  std::size_t mutexCount_ = 0;
  Signal* signal_ = nullptr;
};

}  // namespace

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) noexcept {
  KernelObject* object = kernelObjectOf(handle);
  if (object == nullptr) return WAIT_FAILED;
  const bool taken =
      object->tryTake() || (milliseconds != 0 && object->take(deadlineAfter(milliseconds)));
  if (!taken) return WAIT_TIMEOUT;
  return object->wasAbandoned() ? WAIT_ABANDONED : WAIT_OBJECT_0;
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll,
                             DWORD milliseconds) noexcept {
  if (count == 0 || count > kMostObjects || waitAll == FALSE)
    return failWait(ERROR_INVALID_PARAMETER);
  std::array<KernelObject*, kMostObjects> objects{};
  WaitForAll wait;
  for (DWORD i = 0; i < count; ++i) {
    objects[i] = kernelObjectOf(handles[i]);
    if (objects[i] == nullptr) return WAIT_FAILED;
    bool fits = std::find(objects.begin(), objects.begin() + i, objects[i]) == objects.begin() + i;
    if (objects[i]->kind() == Object::Kind::mutex)
      wait.add(static_cast<Mutex*>(objects[i]));
    else
      fits = wait.add(static_cast<Signal*>(objects[i])) && fits;
    if (!fits) return failWait(ERROR_INVALID_PARAMETER);
  }
  if (!wait.run(deadlineAfter(milliseconds))) return WAIT_TIMEOUT;
  DWORD result = WAIT_OBJECT_0;
  for (DWORD i = count; i-- > 0;)
    if (objects[i]->wasAbandoned()) result = WAIT_ABANDONED_0 + i;
  return result;
}

}  // namespace orla
