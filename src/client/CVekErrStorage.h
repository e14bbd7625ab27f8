// The error codes of the library's callers, one for each thread.
//
// Thread-safe. Only the thread itself creates, changes and removes its entry. An operation acquires
// the lock once to search for the entry and once to use it. Between the two, other threads can
// change the index of the entry, but cannot remove it.
//
// No operation throws. If memory runs out, an entry is not created.
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

/// The list of the entries, which it owns. The array is a protected base, because its operations do
/// not take the lock.
class CVekErrStorage : protected CArArr<CVekErrEntry*> {
 public:
  /// The code of a thread without an entry.
  static constexpr std::uint32_t kNoCode = 0xFFFFFFFF;

  /// `name` is ignored. It documents which storage this is.
  explicit CVekErrStorage(const char* name);
  /// Frees every entry. No other thread may use the storage at this time or later.
  ~CVekErrStorage() override;

  /// Returns the index of the thread's entry, or -1. The index is valid until another thread
  /// removes an entry.
  std::int32_t FindEntry(std::uint32_t threadId) noexcept;

  /// Returns the index of the calling thread's entry, as FindEntry does. Creates the entry with
  /// code 0 if there is none. Returns -1 if memory runs out.
  std::int32_t EnsureEntry() noexcept;

  /// Returns the calling thread's code, or kNoCode if it has no entry.
  std::uint32_t GetErrorCode() noexcept;

  /// Sets the calling thread's code. Returns false if there is no memory for its entry.
  bool SetErrorCode(std::uint32_t code) noexcept;

  /// Frees the calling thread's entry. Returns false if there is none. The others keep their order.
  bool RemoveEntry() noexcept;

 private:
  std::int32_t FindDown(std::int32_t from, std::uint32_t threadId) ORLA_REQUIRES(lock_);

  CVekCritSec lock_;
};

}  // namespace orla
