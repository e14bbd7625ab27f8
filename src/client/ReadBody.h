// The body handler of a transaction: a reply's body into memory or into a file, with progress.
#pragma once

#include <cstdint>

#include "client/CInetCntHandle.h"
#include "net/RWPortal.h"

namespace orla {

/// Reads the body from `portal` to its end into what `arg` names. A file gets nothing more, and the
/// rest of the body is dropped, once a write failed (code 1) or the progress function refused to go
/// on (its code); the code goes into `arg`. With an incomplete file-mode `arg` nothing is read.
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
