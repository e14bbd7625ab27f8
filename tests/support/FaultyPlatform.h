// The door to the operating system for tests: it lets every call through, keeps the books of what is
// open, and makes chosen calls fail.
//
// A program that links orla_faulty_platform has the calls of platform/winapi.h, as the library and the
// program's other parts make them, led through here by the linker; the library's code is the very
// code that ships. Allocations come through as well, by replaced operators new and delete.
//
// Faults strike, and the books are kept of, the program's first thread alone, which runs the tests:
// a test's server, in a thread of its own, goes on undisturbed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace orla::faults {

enum class Kind { Socket, File, Kernel, Memory };

/// What a chosen call does. Calls that give something back (closing, releasing) do so in any case
/// and then report a failure, as the systems do.
enum class Way {
  Fail,   // Reports failure, with the code.
  Short,  // Transfers one byte at most. Calls that transfer nothing go through untouched.
};

struct Fault {
  Kind kind;
  /// Which call of that kind, from 1 on.
  int call;
  Way way = Way::Fail;
  /// What GetLastError() then says; no meaning for memory.
  std::uint32_t code = 0;
};

/// Lies in wait for one call during its own lifetime. One at a time.
class Injection {
 public:
  /// At the end, `struck` gets the name of the call that was struck ("new" for an allocation); it
  /// stays as it is when that call never came.
  Injection(const Fault& fault, std::string* struck) noexcept;
  Injection(const Injection&) = delete;
  Injection& operator=(const Injection&) = delete;
  ~Injection();

 private:
  std::string* struck_;
};

/// What the thread has made or taken, less what it has given back.
struct Books {
  int sockets = 0;
  int handles = 0;  // Files and kernel objects.
  int locks = 0;    // Mutexes owned and counts taken off semaphores.
  int winsockStarts = 0;
  int blocks = 0;  // Of memory.
  std::int64_t bytes = 0;

  bool operator==(const Books&) const = default;
};
Books books() noexcept;

/// Allocations that would bring the thread's bytes to more than `bytes` above those of now fail; 0
/// lifts the limit.
void limitMemory(std::size_t bytes) noexcept;

/// Every SO_RCVTIMEO and SO_SNDTIMEO that the thread sets from now on is this many milliseconds; 0
/// ends that.
void shortenTimeouts(int milliseconds) noexcept;

}  // namespace orla::faults
