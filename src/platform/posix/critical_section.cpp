#include "platform/winapi.h"

#include <new>
#include <pthread.h>
#include <unistd.h>

namespace orla {

namespace {

static_assert(sizeof(pthread_mutex_t) <= sizeof(CRITICAL_SECTION::storage));
static_assert(alignof(pthread_mutex_t) <= alignof(CRITICAL_SECTION));

pthread_mutex_t* lockOf(CRITICAL_SECTION* section) {
  return std::launder(reinterpret_cast<pthread_mutex_t*>(section->storage));
}

constinit thread_local DWORD threadId = 0;

// The only thread of a forked child has another identifier.
void forgetThreadId() {
  threadId = 0;
}

}  // namespace

DWORD GetCurrentThreadId() noexcept {
  if (threadId == 0) {
    [[maybe_unused]] static const int registered =
        ::pthread_atfork(nullptr, nullptr, forgetThreadId);
    threadId = static_cast<DWORD>(::gettid());
  }
  return threadId;
}

void InitializeCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutexattr_t attributes;
  ::pthread_mutexattr_init(&attributes);
  ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  ::pthread_mutex_init(::new (section->storage) pthread_mutex_t, &attributes);
  ::pthread_mutexattr_destroy(&attributes);
}

void EnterCriticalSection(CRITICAL_SECTION* section) {
  ::pthread_mutex_lock(lockOf(section));
}

void LeaveCriticalSection(CRITICAL_SECTION* section) {
  ::pthread_mutex_unlock(lockOf(section));
}

void DeleteCriticalSection(CRITICAL_SECTION* section) {
  ::pthread_mutex_destroy(lockOf(section));
}

}  // namespace orla
