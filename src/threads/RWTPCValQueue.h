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
  /// Takes the first item; blocks while there is none and the buffer is open. Items queued before
  /// close() are still read. Throws RWTHRClosedException ("Buffer is closed") when the buffer is
  /// closed and empty. An item whose copying throws stays in the buffer.
  T read() {
    LockGuard guard(mutex_);
    try {
      return takeAwaited();
    } catch (...) {
      passItemOn();
      throw;
    }
  }

  /// The first item, or none when there is none now: never blocks.
  std::optional<T> tryRead() {
    static_assert(std::is_nothrow_move_constructible_v<T>, "an item must not get lost on its way");
    LockGuard guard(mutex_);
    if (!canRead()) return std::nullopt;
    std::optional<T> item(takeFirst());
    itemTaken();
    return item;
  }

  /// Adds an item behind the others; blocks while the buffer is full and open. Throws
  /// RWTHRClosedException ("Buffer is closed") when the buffer is closed.
  void write(T item) {
    LockGuard guard(mutex_);
    try {
      awaitRoom();
      append(std::move(item));
      itemAdded();
    } catch (...) {
      passRoomOn();
      throw;
    }
  }

 protected:
  using RWPCBufferBase::RWPCBufferBase;

  virtual T takeFirst() ORLA_REQUIRES(mutex_) = 0;
  virtual void append(T&& item) ORLA_REQUIRES(mutex_) = 0;

 private:
  /// Not inside the reader's "try", from where compilers return by one more copy, which might fail
  /// when the item has left the buffer already.
  T takeAwaited() ORLA_REQUIRES(mutex_) {
    awaitItem();
    T item = takeFirst();
    itemTaken();
    return item;
  }
};

/// A producer-consumer buffer that hands its items on in the order of their writing.
template <class T>
class RWTPCValQueue : public RWTPCValBufferBase<T> {
 public:
  /// `maximumCapacity` 0: no limit.
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
