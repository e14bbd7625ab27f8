#include "client/CVekErrStorage.h"

#include <algorithm>
#include <memory>
#include <new>

namespace orla {

namespace {

constexpr std::int32_t kGrowBy = 10;

}  // namespace

CVekErrStorage::CVekErrStorage(const char*) : CArArr<CVekErrEntry*>(kGrowBy) {}

CVekErrStorage::~CVekErrStorage() {
  const CVekCritSecLock hold(lock_);
  for (std::int32_t i = GetCount() - 1; i >= 0; --i) delete ElementAt(i);
}

/// Returns the index of the thread's entry at or below `from`, or -1. `from` may be an index that
/// was found earlier, because an entry only moves down, when another thread removes one below it.
std::int32_t CVekErrStorage::FindDown(std::int32_t from, std::uint32_t threadId) {
  std::int32_t index = std::min(from, GetCount() - 1);
  while (index >= 0 && ElementAt(index)->threadId != threadId) --index;
  return index;
}

std::int32_t CVekErrStorage::FindEntry(std::uint32_t threadId) noexcept {
  const CVekCritSecLock hold(lock_);
  return FindDown(GetCount() - 1, threadId);
}

std::int32_t CVekErrStorage::EnsureEntry() noexcept {
  const std::uint32_t threadId = GetCurrentThreadId();
  const std::int32_t index = FindEntry(threadId);
  if (index >= 0) return index;

  const CVekCritSecLock hold(lock_);
  try {
    auto entry = std::make_unique<CVekErrEntry>(CVekErrEntry{0, threadId});
    Add(entry.get());
    (void)entry.release();  // The array owns it now.
    return GetCount() - 1;
  } catch (const std::bad_alloc&) {
    return -1;
  } catch (eaerrcode) {
    return -1;
  }
}

std::uint32_t CVekErrStorage::GetErrorCode() noexcept {
  const std::uint32_t threadId = GetCurrentThreadId();
  const std::int32_t index = FindEntry(threadId);
  const CVekCritSecLock hold(lock_);
  return index >= 0 ? ElementAt(FindDown(index, threadId))->code : kNoCode;
}

bool CVekErrStorage::SetErrorCode(std::uint32_t code) noexcept {
  const std::int32_t index = EnsureEntry();
  if (index < 0) return false;
  const CVekCritSecLock hold(lock_);
  ElementAt(FindDown(index, GetCurrentThreadId()))->code = code;
  return true;
}

bool CVekErrStorage::RemoveEntry() noexcept {
  const std::uint32_t threadId = GetCurrentThreadId();
  std::int32_t index = FindEntry(threadId);
  if (index < 0) return false;

  const CVekCritSecLock hold(lock_);
  index = FindDown(index, threadId);
  delete ElementAt(index);
  RemoveAt(index, 1);
  return true;
}

}  // namespace orla
