// Reference-counted bodies, and the handles that share them. Portals, request bodies, functors,
// addresses and HTTP clients all use these classes.
#pragma once

#include <atomic>
#include <utility>

namespace orla {

/// The base of a reference-counted body. A body is allocated with new and starts with no reference.
/// The last RWTHandle that releases it deletes it. Any thread may add and remove references.
class RWReference {
 public:
  RWReference() = default;
  RWReference(const RWReference&) = delete;
  RWReference& operator=(const RWReference&) = delete;
  virtual ~RWReference() noexcept(false) {}

  void addReference() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }
  /// Returns the number of references left.
  unsigned removeReference() noexcept { return count_.fetch_sub(1, std::memory_order_acq_rel) - 1; }
  bool isReferenced() const noexcept { return count_.load(std::memory_order_relaxed) != 0; }

 private:
  std::atomic<unsigned> count_{0};
};

/// A reference-counted body whose count is guarded by a mutex, so that the thread that releases the
/// last reference deletes the body only after every other thread has left removeReference(). The
/// lock is created with the second reference, because a body with one reference is used by one
/// thread.
template <class Lock>
class RWTCountingBody : public RWReference {
 public:
  RWTCountingBody() = default;
  /// Throws what the lock's destructor throws.
  ~RWTCountingBody() noexcept(false) override { delete lock_.load(std::memory_order_acquire); }

  /// Adds no reference if the lock throws.
  void addReference() {
    if (!isReferenced()) return RWReference::addReference();
    Lock& lock = sharedLock();
    lock.acquire();
    RWReference::addReference();
    try {
      lock.release();
    } catch (...) {
      RWReference::removeReference();
      throw;
    }
  }
  /// Returns the number of references left. If the lock fails, removes the reference anyway,
  /// because a reference that stays would leak the body. The count is correct even then, because it
  /// is atomic. A broken lock throws when it is destroyed.
  unsigned removeReference() noexcept {
    // Once shared, always lock: the thread that releases the last reference must not delete the
    // lock while another thread is still inside release().
    Lock* const lock = lock_.load(std::memory_order_acquire);
    if (!lock) return RWReference::removeReference();
    try {
      lock->acquire();
    } catch (...) {
      return RWReference::removeReference();
    }
    const unsigned left = RWReference::removeReference();
    try {
      lock->release();
    } catch (...) {
    }
    return left;
  }

 private:
  /// Returns the lock and creates it if necessary. It exists before the second reference does.
  Lock& sharedLock() {
    Lock* lock = lock_.load(std::memory_order_acquire);
    if (lock) return *lock;
    Lock* const made = new Lock;
    if (lock_.compare_exchange_strong(lock, made, std::memory_order_acq_rel)) return *made;
    delete made;  // Another thread copied the only handle at the same time and was first.
    return *lock;
  }

  std::atomic<Lock*> lock_{nullptr};
};

/// Holds one counted reference to a body, or none. Copies share the body. If the body's destructor
/// throws, the handle's destructor or assignment throws the same, and the body is freed anyway.
template <class Body>
class RWTHandle {
 public:
  RWTHandle() noexcept = default;
  /// Adds a reference to `body`, which may be null. If that throws, a body without any reference is
  /// deleted.
  explicit RWTHandle(Body* body) : body_(body) {
    if (!body_) return;
    try {
      body_->addReference();
    } catch (...) {
      if (!body_->isReferenced()) destroy(body_);
      throw;
    }
  }
  RWTHandle(const RWTHandle& other) : RWTHandle(other.body_) {}
  RWTHandle(RWTHandle&& other) noexcept : body_(std::exchange(other.body_, nullptr)) {}
  RWTHandle& operator=(RWTHandle other) {
    std::swap(body_, other.body_);
    return *this;
  }
  ~RWTHandle() noexcept(false) {
    if (body_ && body_->removeReference() == 0) destroy(body_);
  }

  Body* get() const noexcept { return body_; }
  Body* operator->() const noexcept { return body_; }
  Body& operator*() const noexcept { return *body_; }
  explicit operator bool() const noexcept { return body_ != nullptr; }

 private:
  // Not inline, because a compiler that sees the delete warns about every later use of a body that
  // other handles keep alive. Deleting is rare, so the call costs nothing.
  [[gnu::noinline]] static void destroy(Body* body) { delete body; }

  Body* body_ = nullptr;
};

}  // namespace orla
