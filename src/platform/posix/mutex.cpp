#include "platform/posix/mutex.h"

#include <cerrno>
#include <chrono>
#include <pthread.h>
#include <thread>
#include <utility>

#include "platform/posix/last_error.h"

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ORLA_THREAD_SANITIZER 1
#endif
#endif

namespace orla::posix {

namespace {

int lockUntil(pthread_mutex_t& lock, Clock::time_point deadline) {
#ifdef ORLA_THREAD_SANITIZER
  // The sanitizer does not intercept pthread_mutex_clocklock(), nor EOWNERDEAD from
  // pthread_mutex_timedlock(), and would report the later unlock as one of a free mutex. So poll.
  for (;;) {
    const int error = ::pthread_mutex_trylock(&lock);
    if (error != EBUSY) return error;
    if (Clock::now() >= deadline) return ETIMEDOUT;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
#else
  // Uses the monotonic clock, so that setting the time of day does not change the length of a wait.
  const ::timespec end = toTimespec(deadline.time_since_epoch());
  return ::pthread_mutex_clocklock(&lock, CLOCK_MONOTONIC, &end);
#endif
}

}  // namespace

Mutex::Mutex(std::unique_ptr<NamedMemory> memory) noexcept
    : KernelObject(kKind, std::move(memory)),
      state_(this->memory() != nullptr ? static_cast<State*>(this->memory()->state()) : &own_) {}

Mutex::~Mutex() {
  // A named mutex is not destroyed, because another process may use it. Releasing its memory is
  // enough.
  if (state_ == &own_) ::pthread_mutex_destroy(&own_.lock);
}

void Mutex::initialize(BOOL initialOwner) noexcept {
  pthread_mutexattr_t attributes;
  ::pthread_mutexattr_init(&attributes);
  ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  if (memory() != nullptr) ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  ::pthread_mutex_init(&state_->lock, &attributes);
  ::pthread_mutexattr_destroy(&attributes);
  if (initialOwner != FALSE) tryTake();
}

bool Mutex::finishLock(int error) noexcept {
  if (error == EOWNERDEAD) {
    ::pthread_mutex_consistent(&state_->lock);
    state_->depth = 0;
    state_->abandoned = 1;
  } else if (error != 0) {
    return false;
  }
  ++state_->depth;
  holder_.store(GetCurrentThreadId(), std::memory_order_relaxed);
  return true;
}

bool Mutex::tryTake() noexcept {
  return finishLock(::pthread_mutex_trylock(&state_->lock));
}

bool Mutex::take(const Deadline& deadline) noexcept {
  return finishLock(deadline ? lockUntil(state_->lock, *deadline)
                             : ::pthread_mutex_lock(&state_->lock));
}

bool Mutex::wasAbandoned() noexcept {
  return std::exchange(state_->abandoned, 0) != 0;
}

bool Mutex::release() noexcept {
  // Only the calling thread writes its identifier to holder_, so no other thread can change the
  // result.
  if (holder_.load(std::memory_order_relaxed) != GetCurrentThreadId()) return false;
  if (--state_->depth == 0) holder_.store(0, std::memory_order_relaxed);
  ::pthread_mutex_unlock(&state_->lock);
  return true;
}

bool Mutex::retire() noexcept {
  // If no thread of this process holds it, there is nothing to release.
  if (holder_ != 0 && tryTake()) {
    while (release()) {
    }
  }
  // If another thread owns the mutex, the C library has it in that thread's list of robust mutexes,
  // so its memory must not be freed.
  return holder_ == 0;
}

}  // namespace orla::posix

namespace orla {

using posix::fail;
using posix::Mutex;
using posix::objectOf;

HANDLE CreateMutexA(SECURITY_ATTRIBUTES*, BOOL initialOwner, const char* name) noexcept {
  return posix::create<Mutex>(name, [=](Mutex& mutex) { mutex.initialize(initialOwner); });
}

BOOL ReleaseMutex(HANDLE handle) noexcept {
  auto* mutex = objectOf<Mutex>(handle);
  if (mutex == nullptr) return FALSE;
  return mutex->release() ? TRUE : fail(ERROR_NOT_OWNER);
}

}  // namespace orla
