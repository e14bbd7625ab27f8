// The platform layer with faults, for tests. It passes every call on, counts what is open, and makes
// chosen calls fail.
//
// In a program that links orla_faulty_platform the linker redirects the calls of platform/winapi.h to
// this layer, whether the library or the test makes them. The library's code is the code that ships.
// Replaced operators new and delete do the same for allocations. On POSIX the system calls beneath the
// platform layer are redirected too.
//
// Only the calls of the program's first thread, which runs the tests, fail and are counted. A test's
// server, in other threads, is not disturbed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>

namespace orla::faults {

enum class Kind {
  kSocket,
  kFile,
  kSharedObject,   // Kernel objects with a name.
  kPrivateObject,  // Kernel objects without a name.
  kPoll,           // Waits that return at once.
  kMemory,
  kSystem,         // Every system call beneath the platform layer.
  kInterruptible,  // Those of them that a signal can interrupt.
};

/// What the chosen call does. A call that closes or releases something does so in any case and then
/// reports the failure, as the systems do.
enum class Way {
  kFail,   // Reports a failure, with the code.
  kShort,  // Transfers one byte at most. A call that transfers nothing is passed on unchanged.
};

struct Fault {
  Kind kind;
  /// Which call of that kind, counted from 1.
  int call;
  Way way = Way::kFail;
  /// What GetLastError() then returns; of a system call, errno. Unused for memory.
  std::uint32_t code = 0;
};

/// Makes one call fail that comes during the object's lifetime. One object at a time.
class Injection {
 public:
  /// The destructor sets `failedCall` to the name of the call that failed ("new" for an allocation),
  /// which is never freed. It leaves `failedCall` unchanged if that call never came.
  Injection(const Fault& fault, const char** failedCall) noexcept;
  Injection(const Injection&) = delete;
  Injection& operator=(const Injection&) = delete;
  ~Injection();

 private:
  const char** failedCall_;
};

/// What the thread has opened, locked or allocated and not yet closed, released or freed.
struct Books {
  int sockets = 0;
  int handles = 0;  // Files and kernel objects.
  int locks = 0;    // Mutexes owned and counts taken from semaphores.
  int winsockStarts = 0;
  int blocks = 0;  // Of memory.
  // On POSIX only.
  int descriptors = 0;
  int mappings = 0;
  int badCloses = 0;  // close() of a descriptor that was not open.

  bool operator==(const Books&) const = default;
};
inline void PrintTo(const Books& books, std::ostream* out) {
  *out << "sockets " << books.sockets << ", handles " << books.handles << ", locks " << books.locks
       << ", starts " << books.winsockStarts << ", blocks " << books.blocks << ", descriptors "
       << books.descriptors << ", mappings " << books.mappings << ", bad closes "
       << books.badCloses;
}
Books books() noexcept;

/// Allocations that would raise the thread's bytes by more than `bytes` from now fail; 0 removes the
/// limit.
void limitMemory(std::size_t bytes) noexcept;

/// Every SO_RCVTIMEO and SO_SNDTIMEO that the thread sets from now on becomes this many milliseconds;
/// 0 ends that.
void shortenTimeouts(int milliseconds) noexcept;

}  // namespace orla::faults
