// The thread notices of the shared library: a thread-specific value whose destructor runs when the
// thread ends. A thread's error record is opened by its first failure, so threads that have made no
// command that can set a code need no notice.
#include <pthread.h>

#include "client/Library.h"
#include "library/ThreadNotice.h"

namespace orla {

namespace {

/// The key lives as long as the library is loaded: a thread that ends after the unloading must not
/// call into it.
class ThreadEndKey {
 public:
  ThreadEndKey() : valid_(pthread_key_create(&key_, closeRecord) == 0) {}
  ThreadEndKey(const ThreadEndKey&) = delete;
  ThreadEndKey& operator=(const ThreadEndKey&) = delete;
  ~ThreadEndKey() {
    if (valid_) pthread_key_delete(key_);
  }

  void set() {
    if (valid_) pthread_setspecific(key_, this);  // Any value but null has the destructor run.
  }

 private:
  static void closeRecord(void*) { libraryObject().CloseThreadRecord(); }

  pthread_key_t key_{};
  bool valid_;
};

ThreadEndKey threadEndKey;

}  // namespace

void expectThreadEnd() {
  threadEndKey.set();
}

}  // namespace orla
