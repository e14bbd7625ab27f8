// How the library hears that a thread begins or ends, which differs between the systems.
#pragma once

namespace orla {

/// Makes sure that the calling thread's error record is closed when the thread ends. On Windows the
/// system tells the library's entry point of every thread, and there is nothing to do; elsewhere
/// this asks for the notice. A thread may call it any number of times.
void expectThreadEnd();

}  // namespace orla
