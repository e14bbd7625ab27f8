// Runs a program while an object of another kind has the name of the mutex that agents share, so that
// the program cannot lock its table of connections.
//
//   orla_unlockable PROGRAM [ARGUMENT...]
//
// The arguments must not need quotes. The exit code is that of the program, 99 if it cannot be run.
#include <process.h>
#include <windows.h>

int main(int argc, char** argv) {
  const char* const name = "KT.SingleWriterMultiReaderGuard.MutexNoWriter@ORLAHost2.dll";
  const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, name);
  if (argc < 2 || event == nullptr || GetLastError() == ERROR_ALREADY_EXISTS) return 99;
  const auto code = _spawnv(_P_WAIT, argv[1], argv + 1);
  CloseHandle(event);
  return code < 0 ? 99 : static_cast<int>(code);
}
