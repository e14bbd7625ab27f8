// windows.h must come first, because shellapi.h needs it.
// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on
#include <algorithm>
#include <atomic>
#include <io.h>
#include <stdexcept>

#include "system.h"

namespace orla::cli {
namespace {

std::atomic<bool> interruptSeen{false};

/// The system calls it on a separate thread. If it returns FALSE, the system ends the process.
BOOL WINAPI onControl(DWORD event) {
  if (event != CTRL_C_EVENT || interruptSeen.exchange(true)) return FALSE;
  std::fputs(kInterruptNotice, stderr);
  std::fflush(stderr);
  return TRUE;
}

std::wstring widen(const std::string& text) {
  const int size = static_cast<int>(text.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), length);
  return wide;
}

/// Converts UTF-16 to the code page. `replaced` is set to TRUE if the code page does not have one
/// of the characters, even if it has a similar one. For UTF-8 `replaced` must be null, because the
/// system refuses it. UTF-8 has every character.
std::string narrow(const std::wstring& wide, UINT codePage, BOOL* replaced) {
  const DWORD flags = replaced == nullptr ? 0 : WC_NO_BEST_FIT_CHARS;
  const int size = static_cast<int>(wide.size());
  const int length =
      WideCharToMultiByte(codePage, flags, wide.data(), size, nullptr, 0, nullptr, replaced);
  std::string text(static_cast<std::size_t>(length), '\0');
  WideCharToMultiByte(codePage, flags, wide.data(), size, text.data(), length, nullptr, replaced);
  return text;
}

}  // namespace

/// The arguments of main() are not used, because they are in the system's character set, which may
/// not have all of the characters.
std::vector<std::string> commandLine(int, char**) {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wide == nullptr) throw std::runtime_error("cannot read the command line");
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(narrow(wide[i], CP_UTF8, nullptr));
  LocalFree(wide);
  return arguments;
}

std::string libraryPath(const std::string& path) {
  std::string local = path;
  std::replace(local.begin(), local.end(), '/', '\\');
  if (local.find('\\') == std::string::npos) {
    // "c:file" is a file in the current directory of drive C. It becomes "c:.\file".
    local.insert(local.size() > 1 && local[1] == ':' ? 2 : 0, ".\\");
  }
  // The library expects paths in the system's character set.
  BOOL replaced = FALSE;
  local = narrow(widen(local), CP_ACP, GetACP() == CP_UTF8 ? nullptr : &replaced);
  if (replaced) {
    throw std::invalid_argument(
        "the system's character set cannot express this path; rename the file: " + path);
  }
  return local;
}

bool isTerminal(std::FILE* stream) {
  return _isatty(_fileno(stream)) != 0;
}

bool enableColor(std::FILE* stream) {
  constexpr DWORD kEscapeSequences = 4;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING, since Windows 10
  const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
  DWORD mode = 0;
  return GetConsoleMode(console, &mode) != 0 &&
         SetConsoleMode(console, mode | kEscapeSequences) != 0;
}

void catchFirstInterrupt() {
  SetConsoleCtrlHandler(onControl, TRUE);
}

bool interrupted() {
  return interruptSeen;
}

}  // namespace orla::cli
