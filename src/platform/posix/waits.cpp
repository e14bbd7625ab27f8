#include <algorithm>
#include <array>

#include "platform/posix/counter.h"
#include "platform/posix/mutex.h"

namespace orla {

using posix::Counter;
using posix::Deadline;
using posix::KernelObject;
using posix::Mutex;
using posix::Object;

namespace {

constexpr std::size_t kMaxObjects = 8;

Deadline deadlineAfter(DWORD milliseconds) {
  if (milliseconds == INFINITE) return {};
  return posix::Clock::now() + std::chrono::milliseconds(milliseconds);
}

DWORD failWait(DWORD error) {
  SetLastError(error);
  return WAIT_FAILED;
}

/// Returns null, with ERROR_INVALID_HANDLE, for a handle that no thread can wait for.
KernelObject* kernelObjectOf(HANDLE handle) {
  if (handle != nullptr && handle != INVALID_HANDLE_VALUE) {
    auto* object = static_cast<Object*>(handle);
    if (object->kind() != Object::Kind::kFile) return static_cast<KernelObject*>(object);
  }
  SetLastError(ERROR_INVALID_HANDLE);
  return nullptr;
}

/// Waits for any number of mutexes and at most one counter, and takes all of them. Takes the
/// counter last, because a thread that owns one of the mutexes must not see a lower count, even for
/// a moment.
class WaitForAll {
 public:
  void add(Mutex* mutex) { mutexes_[mutexCount_++] = mutex; }
  /// Returns false if the wait has a counter already.
  bool add(Counter* counter) {
    if (counter_ != nullptr) return false;
    counter_ = counter;
    return true;
  }

  /// Takes all. Returns false, with nothing taken, if the deadline passed first.
  bool run(const Deadline& deadline) {
    Mutex* awaited = nullptr;  // If not null, the thread slept on it last and has taken it.
    for (;;) {
      // While the counter is not set, taking the mutexes would be useless.
      if (counter_ == nullptr || counter_->isSet()) {
        Mutex* const missing = tryTakeMutexes(awaited);
        if (missing == nullptr && (counter_ == nullptr || counter_->tryTake())) return true;
        releaseMutexes();
        awaited = missing;
      } else if (awaited != nullptr) {
        awaited->release();
        awaited = nullptr;
      }
      // Sleeps on one object while no other is taken. If it is a mutex, it is taken afterwards.
      if (awaited != nullptr ? !awaited->take(deadline) : !counter_->waitUntilSet(deadline))
        return false;
    }
  }

 private:
  /// Takes every mutex but `awaited`, which is taken already. Returns the first one that another
  /// thread owns, or null if all are taken.
  Mutex* tryTakeMutexes(const Mutex* awaited) {
    taken_.fill(false);
    for (std::size_t i = 0; i < mutexCount_; ++i) taken_[i] = mutexes_[i] == awaited;
    for (std::size_t i = 0; i < mutexCount_; ++i) {
      if (!taken_[i] && !mutexes_[i]->tryTake()) return mutexes_[i];
      taken_[i] = true;
    }
    return nullptr;
  }

  void releaseMutexes() {
    for (std::size_t i = 0; i < mutexCount_; ++i)
      if (taken_[i]) mutexes_[i]->release();
  }

  std::array<Mutex*, kMaxObjects> mutexes_{};
  std::array<bool, kMaxObjects> taken_{};
  std::size_t mutexCount_ = 0;
  Counter* counter_ = nullptr;
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
  if (count == 0 || count > kMaxObjects || waitAll == FALSE)
    return failWait(ERROR_INVALID_PARAMETER);
  std::array<KernelObject*, kMaxObjects> objects{};
  WaitForAll wait;
  for (DWORD i = 0; i < count; ++i) {
    objects[i] = kernelObjectOf(handles[i]);
    if (objects[i] == nullptr) return WAIT_FAILED;
    bool fits = std::find(objects.begin(), objects.begin() + i, objects[i]) == objects.begin() + i;
    if (objects[i]->kind() == Object::Kind::kMutex)
      wait.add(static_cast<Mutex*>(objects[i]));
    else
      fits = wait.add(static_cast<Counter*>(objects[i])) && fits;
    if (!fits) return failWait(ERROR_INVALID_PARAMETER);
  }
  if (!wait.run(deadlineAfter(milliseconds))) return WAIT_TIMEOUT;
  DWORD result = WAIT_OBJECT_0;
  for (DWORD i = count; i-- > 0;)
    if (objects[i]->wasAbandoned()) result = WAIT_ABANDONED_0 + i;
  return result;
}

}  // namespace orla
