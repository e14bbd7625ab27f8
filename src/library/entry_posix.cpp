// The thread notices of the shared library: a thread-specific value whose destructor runs when the
// thread ends. A thread's error record is opened by its first failure, so a thread needs a notice
// only if it calls a command that can set a code.
#include <pthread.h>

#include "library/LibraryUse.h"
#include "library/ThreadNotice.h"

namespace orla {

namespace {

pthread_key_t key;
bool hasKey = false;

void closeRecord(void*) {
  const LibraryUse library;
  if (library) library->CloseThreadRecord();
}

}  // namespace

void startThreadNotices() noexcept {
  hasKey = pthread_key_create(&key, closeRecord) == 0;
}

// A thread that ends after the library was unloaded must not call into it.
void stopThreadNotices() noexcept {
  if (hasKey) pthread_key_delete(key);
}

void closeRecordAtThreadExit() noexcept {
  if (hasKey) pthread_setspecific(key, &key);  // Any value but null makes the destructor run.
}

}  // namespace orla
