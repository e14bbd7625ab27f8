// A blocking first-in, first-out queue of values between threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <type_traits>
#include <utility>

#include "threads/RWPCBufferBase.h"

namespace orla {

/// The typed read and write of a producer-consumer buffer.
template <class T>
class RWTPCValBufferBase : public RWPCBufferBase {
 public:
  /// Removes and returns the first item. Blocks while the buffer is empty and open. Items written
  /// before close() can still be read. Throws RWTHRClosedException ("Buffer is closed") if the
  /// buffer is closed and empty. If copying the item throws, the item stays in the buffer.
  T read() {
    LockGuard guard(mutex_);
    try {
      return takeAwaited();
    } catch (...) {
      wakeNextReader();
      throw;
    }
  }

  /// Removes and returns the first item, or returns nothing if the buffer is empty. Never blocks
  /// for an item.
  std::optional<T> tryRead() {
    static_assert(std::is_nothrow_move_constructible_v<T>, "an item must not get lost on its way");
    LockGuard guard(mutex_);
    if (!canRead()) return std::nullopt;
    std::optional<T> item(takeFirst());
    itemTaken();
    return item;
  }

  /// Adds an item after the others. Blocks while the buffer is full and open. Throws
  /// RWTHRClosedException ("Buffer is closed") if the buffer is closed.
  void write(T item) {
    LockGuard guard(mutex_);
    try {
      awaitRoom();
      append(std::move(item));
      itemAdded();
    } catch (...) {
      wakeNextWriter();
      throw;
    }
  }

 protected:
  using RWPCBufferBase::RWPCBufferBase;

  virtual T takeFirst() ORLA_REQUIRES(mutex_) = 0;
  virtual void append(T&& item) ORLA_REQUIRES(mutex_) = 0;

 private:
  /// Separate from read(), because compilers do not elide the copy of a local that is returned from
  /// inside a try block. If that copy threw, the item, which is already removed, would be lost.
  T takeAwaited() ORLA_REQUIRES(mutex_) {
    awaitItem();
    T item = takeFirst();
    itemTaken();
    return item;
  }
};

/// A producer-consumer buffer that returns its items in the order in which they were written.
template <class T>
class RWTPCValQueue : public RWTPCValBufferBase<T> {
 public:
  /// A `maximumCapacity` of 0 means no limit.
  explicit RWTPCValQueue(std::uint32_t maximumCapacity = 0)
      : RWTPCValBufferBase<T>(maximumCapacity) {}

 protected:
  std::size_t count() const override ORLA_REQUIRES(this->mutex_) { return items_.size(); }

  T takeFirst() override ORLA_REQUIRES(this->mutex_) {
    T item = std::move_if_noexcept(items_.front());
    items_.pop_front();
    return item;
  }

  void append(T&& item) override ORLA_REQUIRES(this->mutex_) { items_.push_back(std::move(item)); }

 private:
  std::list<T> items_ ORLA_GUARDED_BY(this->mutex_);
};

}  // namespace orla
