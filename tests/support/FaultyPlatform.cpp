#include "support/FaultyPlatform.h"

#include "platform/winapi.h"

#include <algorithm>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace orla::faults {

namespace {

using enum Kind;
enum When { Before, After };

/// A few handles. Kept without allocation: the calls that use it may be counting allocations.
class HandleSet {
 public:
  /// True, so that it can stand in a condition.
  bool add(HANDLE handle) noexcept {
    *std::find(items_, items_ + kRoom - 1, HANDLE()) = handle;
    return true;
  }
  bool contains(HANDLE handle) const noexcept {
    return std::find(items_, items_ + kRoom, handle) != items_ + kRoom;
  }
  void remove(HANDLE handle) noexcept { std::replace(items_, items_ + kRoom, handle, HANDLE()); }

 private:
  static constexpr std::size_t kRoom = 64;
  HANDLE items_[kRoom] = {};
};

/// The first thread's. Not thread-local: the runtime makes calls of the door to find such storage.
struct Thread {
  DWORD id = 0;  // Not yet known: nobody's.
  bool armed = false;
  Fault fault{};
  int callsLeft = 0;
  const char* struck = nullptr;
  Books books;
  std::int64_t mostBytes = 0;  // 0: no limit.
  HandleSet files, events;
};

constinit Thread thread;
[[maybe_unused]] const DWORD firstThread = thread.id = GetCurrentThreadId();

bool isFirstThread() noexcept {
  return GetCurrentThreadId() == thread.id;
}

int timeout = 0;

/// One call on its way through: whether the fault in wait strikes it.
class Call {
 public:
  Call(Kind kind, const char* name) noexcept {
    if (!isFirstThread() || !thread.armed || kind != thread.fault.kind || --thread.callsLeft != 0)
      return;
    thread.struck = name;
    way_ = thread.fault.way;
    struck_ = true;
  }
  bool fails() const noexcept { return struck_ && way_ == Way::Fail; }
  template <class Length>
  void shorten(Length& length) const noexcept {
    if (struck_ && way_ == Way::Short) length = std::min<Length>(length, 1);
  }

 private:
  bool struck_ = false;
  Way way_ = Way::Fail;
};

void made(int& count, bool success) noexcept {
  count += success ? 1 : 0;
}

void gone(int& count, bool success) noexcept {
  count -= success ? 1 : 0;
}

Kind kindOf(HANDLE handle) noexcept {
  return thread.files.contains(handle) ? File : Kernel;
}

void closed(HANDLE handle, bool success) noexcept {
  if (!success) return;
  --thread.books.handles;
  thread.files.remove(handle);
  thread.events.remove(handle);
}

void taken(DWORD result, DWORD count, const HANDLE* objects) noexcept {
  if (result == WAIT_TIMEOUT || result == WAIT_FAILED) return;
  for (DWORD i = 0; i < count; ++i) made(thread.books.locks, !thread.events.contains(objects[i]));
}

const char* shortened(int level, int option, const char* value) noexcept {
  const bool limits = level == SOL_SOCKET && (option == SO_RCVTIMEO || option == SO_SNDTIMEO);
  if (!limits || !isFirstThread() || timeout == 0) return value;
  return reinterpret_cast<const char*>(&timeout);
}

std::int64_t sizeOf(void* block) noexcept {
#ifdef _WIN32
  return static_cast<std::int64_t>(_msize(block));
#else
  return static_cast<std::int64_t>(malloc_usable_size(block));
#endif
}

void* allocate(std::size_t size) noexcept {
  const Call call(Memory, "new");
  const auto wanted = static_cast<std::int64_t>(size);
  if (call.fails()) return nullptr;
  if (isFirstThread() && thread.mostBytes != 0 && thread.books.bytes + wanted > thread.mostBytes)
    return nullptr;
  void* const block = std::malloc(std::max<std::size_t>(size, 1));
  if (!block || !isFirstThread()) return block;
  ++thread.books.blocks;
  thread.books.bytes += sizeOf(block);
  return block;
}

void release(void* block) noexcept {
  if (block && isFirstThread()) {
    --thread.books.blocks;
    thread.books.bytes -= sizeOf(block);
  }
  std::free(block);
}

}  // namespace

Injection::Injection(const Fault& fault, std::string* struck) noexcept : struck_(struck) {
  thread.fault = fault;
  thread.callsLeft = fault.call;
  thread.struck = nullptr;
  thread.armed = true;
}

Injection::~Injection() {
  thread.armed = false;
  if (thread.struck) *struck_ = thread.struck;
}

Books books() noexcept {
  return thread.books;
}

void limitMemory(std::size_t bytes) noexcept {
  thread.mostBytes = bytes == 0 ? 0 : thread.books.bytes + static_cast<std::int64_t>(bytes);
}

void shortenTimeouts(int milliseconds) noexcept {
  timeout = milliseconds;
}

// The linker leads every call of a door's function to the function of ours, and our call of the
// `real` one to the door's. On Windows a call goes through a pointer of the import table: there the
// names are those of pointers.
#ifdef _WIN32
#define ORLA_LED(result, name, parameters, port, windows)                           \
  extern "C" result(WINAPI* real_##name) parameters __asm__("___real_" windows);    \
  static result WINAPI led_##name parameters;                                       \
  extern "C" result(WINAPI* pointer_##name) parameters __asm__("___wrap_" windows); \
  result(WINAPI* pointer_##name) parameters = led_##name;                           \
  static result WINAPI led_##name parameters
#else
#define ORLA_LED(result, name, parameters, port, windows)                    \
  extern "C" result real_##name parameters noexcept __asm__("__real_" port); \
  extern "C" result led_##name parameters noexcept __asm__("__wrap_" port);  \
  result led_##name parameters noexcept
#endif

// Parameters that are statements, or nothing, cannot stand in parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define ORLA_CALL(kind, when, result, name, parameters, arguments, failure, before, after, port, \
                  windows)                                                                       \
  ORLA_LED(result, name, parameters, port, windows) {                                            \
    const Call call(kind, #name);                                                                \
    if (call.fails() && when == Before) {                                                        \
      SetLastError(thread.fault.code);                                                           \
      return failure;                                                                            \
    }                                                                                            \
    before;                                                                                      \
    const auto r = real_##name arguments;                                                        \
    const DWORD error = GetLastError();                                                          \
    if (isFirstThread()) {                                                                       \
      after;                                                                                     \
    }                                                                                            \
    SetLastError(call.fails() ? thread.fault.code : error);                                      \
    return call.fails() ? failure : r;                                                           \
  }

#include "support/FaultyPlatformCalls.def"
// NOLINTEND(bugprone-macro-parentheses)

}  // namespace orla::faults

void* operator new(std::size_t size) {
  void* const block = orla::faults::allocate(size);
  if (!block) throw std::bad_alloc();
  return block;
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return orla::faults::allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return orla::faults::allocate(size);
}
void operator delete(void* block) noexcept {
  orla::faults::release(block);
}
void operator delete[](void* block) noexcept {
  orla::faults::release(block);
}
void operator delete(void* block, std::size_t) noexcept {
  orla::faults::release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  orla::faults::release(block);
}
