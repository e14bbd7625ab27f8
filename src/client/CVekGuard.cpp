#include "client/CVekGuard.h"

#include "platform/winapi.h"

#include <iterator>

namespace orla {

namespace {

/// The name of a kernel object. It is empty for an object without a name.
class ObjectName {
 public:
  ObjectName(const char* prefix, const char* suffix) noexcept {
    if (!suffix) return;
    const int length = _snprintf(text_, sizeof text_, "%s%s", prefix, suffix);
    fits_ = length >= 0 && static_cast<std::size_t>(length) < sizeof text_;
  }
  bool fits() const noexcept { return fits_; }
  const char* get() const noexcept { return text_[0] ? text_ : nullptr; }

 private:
  char text_[260] = "";
  bool fits_ = true;
};

/// Removes the index of an object from the result of a wait, so that the result is one of those
/// that CVekGuard returns.
std::uint32_t withoutIndex(std::uint32_t waitResult) noexcept {
  if (waitResult <= WAIT_OBJECT_0 + 1) return WAIT_OBJECT_0;
  if (waitResult == WAIT_ABANDONED_0 || waitResult == WAIT_ABANDONED_0 + 1) return WAIT_ABANDONED_0;
  return waitResult;
}

bool taken(std::uint32_t waitResult) noexcept {
  return waitResult != WAIT_TIMEOUT && waitResult != WAIT_FAILED;
}

void closeObject(void*& object) noexcept {
  if (object) CloseHandle(object);
  object = nullptr;
}

}  // namespace

bool CVekGuard::Create(const char* suffix) noexcept {
  Close();
  const ObjectName noWriter("KT.SingleWriterMultiReaderGuard.MutexNoWriter@", suffix);
  const ObjectName noReaders("KT.SingleWriterMultiReaderGuard.EventNoReaders@", suffix);
  const ObjectName readers("KT.SingleWriterMultiReaderGuard.SemNumReaders@", suffix);
  if (noWriter.fits()) noWriter_ = CreateMutexA(nullptr, FALSE, noWriter.get());
  if (noReaders.fits()) noReaders_ = CreateEventA(nullptr, TRUE, TRUE, noReaders.get());
  if (readers.fits()) readers_ = CreateSemaphoreA(nullptr, 0, 0x7FFFFFFF, readers.get());
  if (!IsCreated()) Close();
  return IsCreated();
}

void CVekGuard::Close() noexcept {
  closeObject(noWriter_);
  closeObject(noReaders_);
  closeObject(readers_);
}

std::uint32_t CVekGuard::AcquireWrite(std::uint32_t milliseconds) noexcept {
  const HANDLE both[] = {noWriter_, noReaders_};
  return withoutIndex(WaitForMultipleObjects(std::size(both), both, TRUE, milliseconds));
}

bool CVekGuard::TryAcquireWrite(std::uint32_t milliseconds) noexcept {
  return taken(AcquireWrite(milliseconds));
}

void CVekGuard::ReleaseWrite() noexcept {
  if (noWriter_) ReleaseMutex(noWriter_);
}

std::uint32_t CVekGuard::AcquireRead(std::uint32_t milliseconds) noexcept {
  const std::uint32_t result = WaitForSingleObject(noWriter_, milliseconds);
  if (!IsCreated()) return result;
  // The reader is counted even if the wait failed, because the caller releases it in any case.
  LONG before = 0;
  if (ReleaseSemaphore(readers_, 1, &before) && before == 0) ResetEvent(noReaders_);
  ReleaseMutex(noWriter_);
  return withoutIndex(result);
}

bool CVekGuard::TryAcquireRead(std::uint32_t milliseconds) noexcept {
  return taken(AcquireRead(milliseconds));
}

void CVekGuard::ReleaseRead() noexcept {
  if (!IsCreated()) return;
  const HANDLE both[] = {noWriter_, readers_};
  // A failed wait acquires neither object. The reader must be uncounted anyway, because otherwise
  // every writer in every process would wait for it forever.
  if (WaitForMultipleObjects(std::size(both), both, TRUE, INFINITE) == WAIT_FAILED)
    WaitForSingleObject(readers_, 0);
  // The count cannot be read, only decreased. If other readers are inside, the poll has decreased
  // it once too often, so it is increased again.
  if (WaitForSingleObject(readers_, 0) == WAIT_OBJECT_0) {
    ReleaseSemaphore(readers_, 1, nullptr);
  } else {
    SetEvent(noReaders_);
  }
  ReleaseMutex(noWriter_);
}

CVekWriterLock::~CVekWriterLock() {
  if (guard_) guard_->ReleaseWrite();
}

bool CVekWriterLock::Lock(CVekGuard* guard) noexcept {
  if (guard_ || !guard) return false;
  guard_ = guard;
  return guard_->TryAcquireWrite(INFINITE);
}

CVekReaderLock::~CVekReaderLock() {
  if (guard_) guard_->ReleaseRead();
}

bool CVekReaderLock::Lock(CVekGuard* guard) noexcept {
  if (guard_ || !guard) return false;
  guard_ = guard;
  return guard_->TryAcquireRead(INFINITE);
}

}  // namespace orla
