// The error codes of the library's callers, one for each thread.
//
// Thread-safe. An entry is made, changed and removed by its own thread alone. The search for it
// takes and releases the lock by itself before the lock is taken again for the read, the write or
// the removal; between the two an entry can move, but not vanish.
//
// No operation raises anything: out of memory shows as an entry that could not be made.
#pragma once

#include <cstdint>

#include "client/CArArr.h"
#include "client/CVekCritSec.h"
#include "foundation/ThreadAnnotations.h"

namespace orla {

/// The last error code of one thread.
struct CVekErrEntry {
  std::uint32_t code;
  std::uint32_t threadId;
};

/// The list of the entries, which it owns. The array is hidden: its operations do not take the
/// lock.
class CVekErrStorage : protected CArArr<CVekErrEntry*> {
 public:
  /// The code of a thread that has no entry.
  static constexpr std::uint32_t kNoCode = 0xFFFFFFFF;

  /// `name` tells the storages of a process apart for the reader of the code; nothing uses it.
  explicit CVekErrStorage(const char* name);
  /// Frees every entry. No other thread may use the storage any more.
  ~CVekErrStorage() override;

  /// The index of the thread's entry, or -1. It holds until another thread removes its entry.
  std::int32_t FindEntry(std::uint32_t threadId) noexcept;

  /// Makes sure that the calling thread has an entry, a new one with code 0. Its index, as of
  /// FindEntry, or -1 when there is no memory for it.
  std::int32_t EnsureEntry() noexcept;

  /// The calling thread's code; kNoCode when it has no entry.
  std::uint32_t GetErrorCode() noexcept;

  /// Records the calling thread's code; false when there is no memory for its entry.
  bool SetErrorCode(std::uint32_t code) noexcept;

  /// Frees the calling thread's entry; false when there was none. The others keep their order.
  bool RemoveEntry() noexcept;

 private:
  std::int32_t FindDown(std::int32_t from, std::uint32_t threadId) ORLA_REQUIRES(lock_);

  CVekCritSec lock_;
};

}  // namespace orla
