// The producer-consumer buffer without its items: the open state, the capacity, who waits and who
// is woken.
#pragma once

#include <cstddef>
#include <cstdint>

#include "threads/RWCondition.h"
#include "threads/RWFunctor.h"
#include "threads/RWMutexLock.h"
#include "threads/RWTMonitor.h"

namespace orla {

/// Any number of threads may read and write. The buffer starts open.
///
/// Callbacks run on the thread that meets their occasion and without the lock, so that they may use
/// the buffer. What one throws leaves the call that ran it, with the buffer as it would be without
/// the callback.
class RWPCBufferBase : protected RWTMonitor<RWMutexLock> {
 public:
  virtual ~RWPCBufferBase() = default;

  std::size_t entries() const;
  /// An item can be read; also from a closed buffer.
  bool readable() const;
  /// The buffer is open and below its capacity.
  bool writable() const;
  bool isOpen() const;

  /// Sets the maximum capacity (0: no limit) and returns the one before. Writers that may have room
  /// now are woken; items above the new limit stay.
  std::uint32_t changeCapacity(std::uint32_t capacity);
  void open();
  /// Makes every write fail, and every read once the items are gone; wakes all who wait.
  void close();

  /// Runs in place of a reader's first wait for an empty buffer, once until the next write.
  void onEmpty(RWFunctor0 callback);
  /// Runs in place of a writer's first wait for a full buffer, once until a read makes room.
  void onFull(RWFunctor0 callback);
  /// Runs whenever a closed buffer is opened, or an open one closed.
  void onOpen(RWFunctor0 callback);
  void onClose(RWFunctor0 callback);

 protected:
  explicit RWPCBufferBase(std::uint32_t maximumCapacity) : maximumCapacity_(maximumCapacity) {}

  virtual std::size_t count() const ORLA_REQUIRES(mutex_) = 0;
  virtual bool canRead() const ORLA_REQUIRES(mutex_) { return count() != 0; }
  virtual bool canWrite() const ORLA_REQUIRES(mutex_);

  /// Blocks until an item can be read; throws RWTHRClosedException when there will be none.
  void awaitItem() ORLA_REQUIRES(mutex_);
  /// An item was taken: ends the full spell and wakes a writer when there is room now.
  void itemTaken() ORLA_REQUIRES(mutex_);
  /// Blocks until an item can be written; throws RWTHRClosedException when the buffer is closed.
  void awaitRoom() ORLA_REQUIRES(mutex_);
  /// An item was added: ends the empty spell and wakes a reader.
  void itemAdded() ORLA_REQUIRES(mutex_);

  /// A reader or writer leaves with nothing done: if it was woken for an item or for room that is
  /// still there, the next one is woken in its place.
  void passItemOn() ORLA_REQUIRES(mutex_);
  void passRoomOn() ORLA_REQUIRES(mutex_);

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
