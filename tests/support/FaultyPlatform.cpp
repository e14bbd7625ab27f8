#include "support/FaultyPlatform.h"

#include <cstdlib>
#include <malloc.h>
#include <new>

#include "support/FaultyCall.h"

namespace orla::faults {

constinit State state;

namespace {

using enum Kind;

/// A few handles. It allocates nothing, because allocations are counted.
class HandleSet {
 public:
  void add(HANDLE handle) noexcept { *std::find(items_, items_ + kRoom - 1, HANDLE()) = handle; }
  bool contains(HANDLE handle) const noexcept {
    return std::find(items_, items_ + kRoom, handle) != items_ + kRoom;
  }
  void remove(HANDLE handle) noexcept { std::replace(items_, items_ + kRoom, handle, HANDLE()); }

 private:
  static constexpr std::size_t kRoom = 64;
  HANDLE items_[kRoom] = {};
};

HandleSet files, events, named;

[[maybe_unused]] const DWORD kFirstThread = state.thread = GetCurrentThreadId();

int timeout = 0;

void opened(int& count, bool success) noexcept {
  count += success ? 1 : 0;
}

void closedOne(int& count, bool success) noexcept {
  count -= success ? 1 : 0;
}

Kind kindOf(HANDLE handle) noexcept {
  if (files.contains(handle)) return kFile;
  return named.contains(handle) ? kSharedObject : kPrivateObject;
}

Kind kindOfNew(const char* name) noexcept {
  return name && *name ? kSharedObject : kPrivateObject;
}

Kind kindOfWait(HANDLE handle, DWORD milliseconds) noexcept {
  return milliseconds == 0 ? kPoll : kindOf(handle);
}

void openedFile(HANDLE file) noexcept {
  if (file == INVALID_HANDLE_VALUE) return;
  ++state.books.handles;
  files.add(file);
}

void createdObject(HANDLE object, const char* name) noexcept {
  if (!object) return;
  ++state.books.handles;
  if (kindOfNew(name) == kSharedObject) named.add(object);
}

void createdEvent(HANDLE event, const char* name) noexcept {
  createdObject(event, name);
  if (event) events.add(event);
}

/// A close that reports lost bytes closes the file anyway.
void closed(HANDLE handle, bool success) noexcept {
  if (!success && GetLastError() == ERROR_INVALID_HANDLE) return;
  --state.books.handles;
  files.remove(handle);
  events.remove(handle);
  named.remove(handle);
}

void tookLocks(DWORD result, DWORD count, const HANDLE* objects) noexcept {
  if (result == WAIT_TIMEOUT || result == WAIT_FAILED) return;
  for (DWORD i = 0; i < count; ++i) opened(state.books.locks, !events.contains(objects[i]));
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
  const Call call(kMemory, "new");
  const auto wanted = static_cast<std::int64_t>(size);
  if (call.fails()) return nullptr;
  if (isFirstThread() && state.mostBytes != 0 && state.bytes + wanted > state.mostBytes)
    return nullptr;
  void* const block = std::malloc(std::max<std::size_t>(size, 1));
  if (!block || !isFirstThread()) return block;
  ++state.books.blocks;
  state.bytes += sizeOf(block);
  return block;
}

void release(void* block) noexcept {
  if (block && isFirstThread()) {
    --state.books.blocks;
    state.bytes -= sizeOf(block);
  }
  std::free(block);
}

}  // namespace

Injection::Injection(const Fault& fault, const char** failedCall) noexcept
    : failedCall_(failedCall) {
  state.fault = fault;
  state.callsLeft = fault.call;
  state.failedCall = nullptr;
  state.armed = true;
}

Injection::~Injection() {
  state.armed = false;
  if (state.failedCall) *failedCall_ = state.failedCall;
}

Books books() noexcept {
  return state.books;
}

void limitMemory(std::size_t bytes) noexcept {
  state.mostBytes = bytes == 0 ? 0 : state.bytes + static_cast<std::int64_t>(bytes);
}

void shortenTimeouts(int milliseconds) noexcept {
  timeout = milliseconds;
}

// The linker redirects every call of a function of the platform layer to the wrapper here, and the
// wrapper's call of the `real` function to the platform layer. On Windows a call goes through a
// pointer in the import table, so that the names there are those of pointers.
#ifdef _WIN32
#define ORLA_WRAPPER(result, name, parameters, port, windows)                      \
  extern "C" result(WINAPI* real##name) parameters __asm__("___real_" windows);    \
  static result WINAPI wrap##name parameters;                                      \
  extern "C" result(WINAPI* pointer##name) parameters __asm__("___wrap_" windows); \
  result(WINAPI* pointer##name) parameters = wrap##name;                           \
  static result WINAPI wrap##name parameters
#else
#define ORLA_WRAPPER(result, name, parameters, port, windows)               \
  extern "C" result real##name parameters noexcept __asm__("__real_" port); \
  extern "C" result wrap##name parameters noexcept __asm__("__wrap_" port); \
  result wrap##name parameters noexcept
#endif

// Parameters that are statements, or nothing, cannot be parenthesized.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define ORLA_CALL(kind, when, result, name, parameters, arguments, failure, before, after, port, \
                  windows)                                                                       \
  ORLA_WRAPPER(result, name, parameters, port, windows) {                                        \
    const Call call(kind, #name);                                                                \
    if (call.fails() && when == kBefore) {                                                       \
      SetLastError(state.fault.code);                                                            \
      return failure;                                                                            \
    }                                                                                            \
    before;                                                                                      \
    const auto r = real##name arguments;                                                         \
    const DWORD error = GetLastError();                                                          \
    if (isFirstThread()) {                                                                       \
      after;                                                                                     \
    }                                                                                            \
    SetLastError(call.fails() ? state.fault.code : error);                                       \
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
