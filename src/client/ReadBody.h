// The body handler of a transaction: a reply's body into memory or into a file, with progress.
#pragma once

#include <cstddef>
#include <cstdint>

#include "client/CInetCntHandle.h"
#include "net/RWPortal.h"

namespace orla {

/// A body that is held in memory has at most this many bytes, so that no server can exhaust the
/// agent's memory.
inline constexpr std::size_t kMaxTextBody = std::size_t{64} << 20;

/// Reads the body from `portal` to its end into what `arg` names. A file gets nothing more, and the
/// rest of the body is dropped, once a write failed (code 1) or the progress function refused to go
/// on (its code); the code goes into `arg`. With an incomplete file-mode `arg` nothing is read.
///
/// Throws std::length_error, with `kMaxTextBody` bytes or fewer in `arg`, when a body that goes
/// into memory is longer than that. The rest of the body is not read.
///
/// Progress: one call with the first 512 bytes when so many have come, then one for each further
/// piece.
void ReadBody(RWPortal portal, CInetCntHandle::CHttpRequestArg* arg);

/// Fills the record, calls the agent's function, and reads the status back; a null `callback`
/// leaves `status` as it is. `name` may be null, which leaves the record's. 0; throws
/// CVekExceptionImp with code 12 for status 11 (ORLA_PROGRESS_CANCEL) and 13 for status 9
/// (ORLA_PROGRESS_ABANDON).
std::uint32_t NotifyProgress(orla_progress_fn callback, orla_progress_record* record,
                             std::uint32_t phase, std::uint32_t status, std::uint32_t count,
                             const char* name, const char* data, std::uint32_t length);

}  // namespace orla
