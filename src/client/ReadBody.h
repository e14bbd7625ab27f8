// The body handler of a transaction: it reads a reply's body into memory or into a file.
#pragma once

#include <cstddef>
#include <cstdint>

#include "client/CInetCntHandle.h"
#include "net/RWPortal.h"

namespace orla {

/// A body that is held in memory has at most this many bytes, so that no server can exhaust the
/// agent's memory.
inline constexpr std::size_t kMaxTextBody = std::size_t{64} << 20;

/// Reads the body from `portal` to its end, into the text or the file of `arg`. If a write fails
/// (code 1) or the progress function cancels (code 12 or 13), stores the code in `arg`, and reads
/// and drops the rest of the body. Reads nothing if `arg` selects file mode and one of its pointers
/// is null.
///
/// In memory mode, throws std::length_error if the body is longer than kMaxTextBody bytes. `arg`
/// then contains at most that many bytes, and the rest of the body is not read.
///
/// Calls the progress function once with the first 512 bytes, as soon as they have been received,
/// and then once without data for each further piece. A shorter body causes no call.
void ReadBody(RWPortal portal, CInetCntHandle::CHttpRequestArg* arg);

/// Fills the record, calls the agent's function, and reads the status back from the record. A null
/// `callback` is not called, and `status` counts as its answer. A null `name` leaves the name in
/// the record unchanged. Returns 0. Throws CVekExceptionImp with code 12 for status 11
/// (ORLA_PROGRESS_CANCEL) and with code 13 for status 9 (ORLA_PROGRESS_ABANDON).
std::uint32_t NotifyProgress(orla_progress_fn callback, orla_progress_record* record,
                             std::uint32_t phase, std::uint32_t status, std::uint32_t count,
                             const char* name, const char* data, std::uint32_t length);

}  // namespace orla
