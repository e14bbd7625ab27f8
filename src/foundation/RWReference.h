// Reference-counted bodies and the handles that share them: the one implementation behind portals,
// request bodies, functors, addresses and HTTP clients.
#pragma once

#include <atomic>
#include <utility>

namespace orla {

/// The base of a reference-counted body. A body starts with no reference, on the heap; the last
/// RWTHandle that lets go of it deletes it. Counting is safe from any thread.
class RWReference {
 public:
  RWReference() = default;
  RWReference(const RWReference&) = delete;
  RWReference& operator=(const RWReference&) = delete;
  virtual ~RWReference() noexcept(false) {}

  void addReference() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }
  /// The number of references left.
  unsigned removeReference() noexcept { return count_.fetch_sub(1, std::memory_order_acq_rel) - 1; }
  bool isReferenced() const noexcept { return count_.load(std::memory_order_relaxed) != 0; }

 private:
  std::atomic<unsigned> count_{0};
};

/// A reference-counted body whose count is changed under a lock of its own, which is made when a
/// second reference is first taken: until then there is nobody to lock out.
template <class Lock>
class RWTCountingBody : public RWReference {
 public:
  RWTCountingBody() = default;
  /// Raises what the lock's destructor raises.
  ~RWTCountingBody() noexcept(false) override { delete lock_.load(std::memory_order_acquire); }

  /// Adds nothing when the lock raises.
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
  /// What the lock raises is dropped: the count is right without it, and a reference that could not
  /// be let go of would leak the body. A lock that fails is reported when it is destroyed.
  unsigned removeReference() noexcept {
    // Locked ever after the first sharing: whoever lets go of the last reference must wait for those
    // who are still letting go of theirs.
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
  /// There before anybody else can hold the second reference.
  Lock& sharedLock() {
    Lock* lock = lock_.load(std::memory_order_acquire);
    if (lock) return *lock;
    Lock* const made = new Lock;
    if (lock_.compare_exchange_strong(lock, made, std::memory_order_acq_rel)) return *made;
    delete made;  // Another thread was first.
    return *lock;
  }

  std::atomic<Lock*> lock_{nullptr};
};

/// Holds one counted reference to a body, or none. Copies share the body. What the body's
/// destructor raises leaves the handle's destructor and assignments, the body freed all the same.
template <class Body>
class RWTHandle {
 public:
  RWTHandle() noexcept = default;
  /// Takes a reference to `body`, which may be null. When that fails, a body that nobody else
  /// refers to is deleted.
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
  // Not inline: it is rare, and a compiler that sees the delete warns of every later use of a body
  // that other handles keep alive.
  [[gnu::noinline]] static void destroy(Body* body) { delete body; }

  Body* body_ = nullptr;
};

}  // namespace orla
