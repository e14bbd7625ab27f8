// How the library learns that a thread ends, which differs between the systems.
#pragma once

namespace orla {

/// The first is called once, after the library-wide object has been created. The second is called
/// once, before it is destroyed.
void startThreadNotices() noexcept;
void stopThreadNotices() noexcept;

/// Makes sure that the calling thread's error record is closed when the thread ends. On Windows the
/// system calls the library's entry point for every thread, so this does nothing. Elsewhere it
/// registers the thread. A thread may call it any number of times while the object exists.
void closeRecordAtThreadExit() noexcept;

}  // namespace orla
