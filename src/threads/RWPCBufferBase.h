// The producer-consumer buffer without its items: whether it is open, its capacity, and which
// threads wait and are woken.
#pragma once

#include <cstddef>
#include <cstdint>

#include "threads/RWCondition.h"
#include "threads/RWFunctor.h"
#include "threads/RWMutexLock.h"
#include "threads/RWTMonitor.h"

namespace orla {

/// Any number of threads may read and write. A new buffer is open.
///
/// A callback runs on the thread whose call triggers it. The lock is not held, so the callback may
/// use the buffer. If a callback throws, that call throws the same, and the state of the buffer is
/// as if there were no callback.
class RWPCBufferBase : protected RWTMonitor<RWMutexLock> {
 public:
  virtual ~RWPCBufferBase() = default;

  std::size_t entries() const;
  /// Returns true if the buffer holds an item, which can be read even if the buffer is closed.
  bool readable() const;
  /// Returns true if the buffer is open and not full.
  bool writable() const;
  bool isOpen() const;

  /// Sets the maximum capacity (0: no limit) and returns the previous one. Wakes the waiting
  /// writers if there may be room for them now. Items above a lower limit stay.
  std::uint32_t changeCapacity(std::uint32_t capacity);
  void open();
  /// Closes the buffer and wakes all waiting threads. Until open() is called, every write fails,
  /// and every read fails once the buffer is empty.
  void close();

  /// Sets the callback that a reader runs when it finds the buffer empty, instead of its first
  /// wait. It runs at most once between two writes.
  void onEmpty(RWFunctor0 callback);
  /// Sets the callback that a writer runs when it finds the buffer full, instead of its first wait.
  /// It runs at most once until a read makes room.
  void onFull(RWFunctor0 callback);
  /// These set the callbacks for opening a closed buffer and for closing an open one.
  void onOpen(RWFunctor0 callback);
  void onClose(RWFunctor0 callback);

 protected:
  explicit RWPCBufferBase(std::uint32_t maximumCapacity) : maximumCapacity_(maximumCapacity) {}

  virtual std::size_t count() const ORLA_REQUIRES(mutex_) = 0;
  virtual bool canRead() const ORLA_REQUIRES(mutex_) { return count() != 0; }
  virtual bool canWrite() const ORLA_REQUIRES(mutex_);

  /// Blocks until an item can be read. Throws RWTHRClosedException if the buffer is closed and
  /// empty.
  void awaitItem() ORLA_REQUIRES(mutex_);
  /// Called after an item was removed. If there is room now, allows the full callback to run again
  /// and wakes a writer.
  void itemTaken() ORLA_REQUIRES(mutex_);
  /// Blocks until an item can be written. Throws RWTHRClosedException if the buffer is closed.
  void awaitRoom() ORLA_REQUIRES(mutex_);
  /// Called after an item was added: allows the empty callback to run again, and wakes a reader.
  void itemAdded() ORLA_REQUIRES(mutex_);

  /// Called when a read fails. If there is an item, wakes the next reader, because the reader that
  /// was woken for the item may be the one that failed.
  void wakeNextReader() ORLA_REQUIRES(mutex_);
  /// Called when a write fails. If there is room, wakes the next writer, for the same reason.
  void wakeNextWriter() ORLA_REQUIRES(mutex_);

 private:
  friend struct ThreadsTestAccess;

  void runUnlocked(RWFunctor0 callback) ORLA_REQUIRES(mutex_);
  void wakeAll() ORLA_REQUIRES(mutex_);

  std::uint32_t maximumCapacity_ ORLA_GUARDED_BY(mutex_);
  unsigned readersWaiting_ ORLA_GUARDED_BY(mutex_) = 0;
  unsigned writersWaiting_ ORLA_GUARDED_BY(mutex_) = 0;
  RWCondition notEmpty_ ORLA_GUARDED_BY(mutex_){mutex_};
  RWCondition notFull_ ORLA_GUARDED_BY(mutex_){mutex_};
  RWFunctor0 onEmpty_ ORLA_GUARDED_BY(mutex_);
  bool emptyCallbackRan_ ORLA_GUARDED_BY(mutex_) = false;
  RWFunctor0 onFull_ ORLA_GUARDED_BY(mutex_);
  bool fullCallbackRan_ ORLA_GUARDED_BY(mutex_) = false;
  RWFunctor0 onOpen_ ORLA_GUARDED_BY(mutex_);
  RWFunctor0 onClose_ ORLA_GUARDED_BY(mutex_);
  bool open_ ORLA_GUARDED_BY(mutex_) = true;
};

}  // namespace orla
