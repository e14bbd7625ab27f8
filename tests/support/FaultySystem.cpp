// The system calls with faults: what FaultyPlatform.h describes for the calls beneath the platform
// layer.
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

#include "support/FaultyCall.h"

namespace orla::faults {

namespace {

using enum Kind;

Kind kindOfControl(int command) noexcept {
  return command == F_SETLKW || command == F_OFD_SETLKW ? kInterruptible : kSystem;
}

/// An interrupted connect goes on in the background; any other failure comes before it.
When whenInterrupted() noexcept {
  return state.fault.code == EINTR ? kAfter : kBefore;
}

bool isDuplication(int command) noexcept {
  return command == F_DUPFD || command == F_DUPFD_CLOEXEC;
}

/// Whether a descriptor below 1024 has been written to.
bool written[1024];

bool* writtenTo(int descriptor) noexcept {
  return descriptor >= 0 && descriptor < 1024 ? &written[descriptor] : nullptr;
}

void opened(int descriptor) noexcept {
  if (descriptor < 0) return;
  ++state.books.descriptors;
  if (bool* const known = writtenTo(descriptor)) *known = false;
}

void wrote(int descriptor) noexcept {
  if (bool* const known = writtenTo(descriptor)) *known = true;
}

/// A failure to close a file that was written to means lost bytes: it has a name of its own.
void closing(const Call& call, int descriptor) noexcept {
  const bool* const known = writtenTo(descriptor);
  if (call.fails() && known && *known) state.failedCall = "close of a written file";
}

void closed(int result) noexcept {
  if (result == 0)
    --state.books.descriptors;
  else if (errno == EBADF)
    ++state.books.badCloses;
}

void mapped(const void* mapping) noexcept {
  if (mapping != MAP_FAILED) ++state.books.mappings;
}

void unmapped(int result) noexcept {
  if (result == 0) --state.books.mappings;
}

}  // namespace

// The linker redirects every call of the C library's function to the wrapper here, and the wrapper's
// call of the `real` function to the C library. A variadic function receives an int or a pointer where
// the wrapper declares it, also if the caller did not pass it: the wrapper only passes it on.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define ORLA_CALL(kind, when, result, name, parameters, arguments, failure, before, after) \
  extern "C" result realSystem##name parameters noexcept __asm__("__real_" #name);         \
  extern "C" result wrapSystem##name parameters noexcept __asm__("__wrap_" #name);         \
  result wrapSystem##name parameters noexcept {                                            \
    const Call call(kind, #name);                                                          \
    const auto code = static_cast<int>(state.fault.code);                                  \
    if (call.fails() && when == kBefore) {                                                 \
      errno = code;                                                                        \
      return failure;                                                                      \
    }                                                                                      \
    before;                                                                                \
    const auto r = realSystem##name arguments;                                             \
    if (isFirstThread()) {                                                                 \
      after;                                                                               \
    }                                                                                      \
    if (!call.fails()) return r;                                                           \
    errno = code;                                                                          \
    return failure;                                                                        \
  }

#include "support/FaultySystemCalls.def"
// NOLINTEND(bugprone-macro-parentheses)

}  // namespace orla::faults
