#include "threads/RWPCBufferBase.h"

#include <utility>

#include "threads/RWTHRErrors.h"

namespace orla {

namespace {

/// Waits for `condition`. `waiting` is 1 higher during the wait, and is restored even if the wait
/// throws.
void waitCounted(RWCondition& condition, unsigned& waiting) {
  ++waiting;
  try {
    condition.wait();
  } catch (...) {
    --waiting;
    throw;
  }
  --waiting;
}

[[noreturn]] void raiseClosed() {
  throw RWTHRClosedException("Buffer is closed");
}

}  // namespace

std::size_t RWPCBufferBase::entries() const {
  LockGuard guard(mutex_);
  return count();
}

bool RWPCBufferBase::readable() const {
  LockGuard guard(mutex_);
  return canRead();
}

bool RWPCBufferBase::writable() const {
  LockGuard guard(mutex_);
  return canWrite();
}

bool RWPCBufferBase::isOpen() const {
  LockGuard guard(mutex_);
  return open_;
}

std::uint32_t RWPCBufferBase::changeCapacity(std::uint32_t capacity) {
  LockGuard guard(mutex_);
  const std::uint32_t previous = std::exchange(maximumCapacity_, capacity);
  const bool grown = capacity == 0 || (previous != 0 && capacity > previous);
  if (grown && writersWaiting_ != 0 && open_) notFull_.signalAll();
  return previous;
}

void RWPCBufferBase::open() {
  LockGuard guard(mutex_);
  if (open_) return;
  open_ = true;
  if (onOpen_) runUnlocked(onOpen_);
}

void RWPCBufferBase::close() {
  LockGuard guard(mutex_);
  if (!open_) return;
  open_ = false;
  try {
    if (onClose_) runUnlocked(onClose_);
  } catch (...) {
    wakeAll();
    throw;
  }
  wakeAll();
}

// The previous callback is swapped into the parameter, so that it is destroyed after the lock is
// released.
void RWPCBufferBase::onEmpty(RWFunctor0 callback) {
  LockGuard guard(mutex_);
  std::swap(onEmpty_, callback);
}

void RWPCBufferBase::onFull(RWFunctor0 callback) {
  LockGuard guard(mutex_);
  std::swap(onFull_, callback);
}

void RWPCBufferBase::onOpen(RWFunctor0 callback) {
  LockGuard guard(mutex_);
  std::swap(onOpen_, callback);
}

void RWPCBufferBase::onClose(RWFunctor0 callback) {
  LockGuard guard(mutex_);
  std::swap(onClose_, callback);
}

bool RWPCBufferBase::canWrite() const {
  return open_ && (maximumCapacity_ == 0 || count() < maximumCapacity_);
}

void RWPCBufferBase::awaitItem() {
  while (!canRead() && open_) {
    if (!emptyCallbackRan_ && onEmpty_) {
      emptyCallbackRan_ = true;
      runUnlocked(onEmpty_);
    } else {
      waitCounted(notEmpty_, readersWaiting_);
    }
  }
  if (!canRead()) raiseClosed();
}

void RWPCBufferBase::itemTaken() {
  if (count() >= maximumCapacity_) return;
  fullCallbackRan_ = false;
  if (writersWaiting_ != 0) notFull_.signal();
}

void RWPCBufferBase::awaitRoom() {
  while (!canWrite() && open_) {
    if (!fullCallbackRan_ && onFull_) {
      fullCallbackRan_ = true;
      runUnlocked(onFull_);
    } else {
      waitCounted(notFull_, writersWaiting_);
    }
  }
  if (!canWrite()) raiseClosed();
}

void RWPCBufferBase::itemAdded() {
  emptyCallbackRan_ = false;
  if (readersWaiting_ != 0) notEmpty_.signal();
}

void RWPCBufferBase::wakeNextReader() {
  if (canRead() && readersWaiting_ != 0) notEmpty_.signal();
}

void RWPCBufferBase::wakeNextWriter() {
  if (canWrite() && writersWaiting_ != 0) notFull_.signal();
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the member may change while it runs.
void RWPCBufferBase::runUnlocked(RWFunctor0 callback) {
  UnlockGuard unlocked(mutex_);
  callback();
}

void RWPCBufferBase::wakeAll() {
  if (writersWaiting_ != 0) notFull_.signalAll();
  if (readersWaiting_ != 0) notEmpty_.signalAll();
}

}  // namespace orla
