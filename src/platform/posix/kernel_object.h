// The objects that threads wait for. An unnamed one keeps its state in itself; a named one in the
// shared memory of its name, where the state must stay sound when a process is killed at any
// point.
#pragma once

#include <atomic>
#include <memory>
#include <pthread.h>

#include "platform/posix/deadline.h"
#include "platform/posix/named_memory.h"
#include "platform/posix/object.h"

namespace orla::posix {

class KernelObject : public Object {
 public:
  /// `memory` is null for an unnamed object.
  KernelObject(Kind kind, std::unique_ptr<NamedMemory> memory) noexcept
      : Object(kind), memory_(std::move(memory)) {}

  /// Takes the object if that needs no waiting.
  virtual bool tryTake() noexcept = 0;
  /// Waits until it has taken the object; false when the deadline passed first.
  virtual bool take(const Deadline& deadline) noexcept = 0;
  /// Whether the last taking found the object abandoned; says so once. For the taker alone.
  virtual bool wasAbandoned() noexcept { return false; }
  /// Readies the object, which has no handle left, for its end. False: its memory must stay.
  virtual bool retire() noexcept { return true; }

  DWORD close() noexcept override;

  NamedMemory* memory() const noexcept { return memory_.get(); }

 private:
  const std::unique_ptr<NamedMemory> memory_;
};

/// A robust mutex of the C library: the system itself notices that the owner is gone.
class Mutex final : public KernelObject {
 public:
  static constexpr Kind kKind = Kind::mutex;

  explicit Mutex(std::unique_ptr<NamedMemory> memory) noexcept;
  ~Mutex() override;

  void initialise(BOOL initialOwner) noexcept;
  bool tryTake() noexcept override;
  bool take(const Deadline& deadline) noexcept override;
  bool wasAbandoned() noexcept override;
  bool retire() noexcept override;
  /// False when the calling thread does not own the mutex.
  bool release() noexcept;

 private:
  struct State {
    pthread_mutex_t lock;
    std::uint32_t depth;  // How often the owner has taken it. Guarded by `lock`, as is the next.
    std::uint32_t abandoned;  // Found abandoned, and not yet reported.
  };
  static_assert(sizeof(State) <= NamedMemory::kStateSize);

  bool finishLock(int error) noexcept;

  State own_{};
  State* const state_;
  // The thread of this process that took it last and has not released it; 0: none.
  std::atomic<DWORD> holder_{0};
};

/// A number that threads wait for to be above 0, and take from: a semaphore's count, or an event's
/// 0 and 1. It changes in one atomic step, so a process that is killed leaves no half of one.
class Signal : public KernelObject {
 public:
  bool tryTake() noexcept override;
  bool take(const Deadline& deadline) noexcept override;
  bool isSet() const noexcept { return valueOf(state_->word) != 0; }
  /// Waits until the number is above 0, and takes nothing.
  bool await(const Deadline& deadline) noexcept;

 protected:
  struct State {
    // The number in the low half, above it how many sleep, or more: a killed sleeper stays counted,
    // and costs a needless wake-up call. One word, since whoever raises the number must not read
    // the state again: a thread that takes from it may close the object at once.
    std::atomic<std::uint64_t> word;
    std::uint32_t maximum;
    std::uint32_t lasting;  // An event that stays set when it is taken.
  };
  static_assert(sizeof(State) <= NamedMemory::kStateSize);
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
  static constexpr std::uint64_t kOneSleeper = std::uint64_t{1} << 32;

  static std::uint32_t valueOf(std::uint64_t word) noexcept {
    return static_cast<std::uint32_t>(word);
  }

  Signal(Kind kind, std::unique_ptr<NamedMemory> memory) noexcept;
  /// Puts the number `value`, no lower, in the place of that in `before`, and wakes who sleeps.
  /// False, and `before` the present word, when the word has changed meanwhile.
  bool raise(std::uint64_t& before, std::uint32_t value) noexcept;
  State& state() noexcept { return *state_; }

 private:
  State own_{};
  State* const state_;
};

class Event final : public Signal {
 public:
  static constexpr Kind kKind = Kind::event;

  explicit Event(std::unique_ptr<NamedMemory> memory) noexcept : Signal(kKind, std::move(memory)) {}
  void initialise(BOOL manualReset, BOOL initialState) noexcept;
  void set() noexcept;
  void reset() noexcept;
};

class Semaphore final : public Signal {
 public:
  static constexpr Kind kKind = Kind::semaphore;

  explicit Semaphore(std::unique_ptr<NamedMemory> memory) noexcept
      : Signal(kKind, std::move(memory)) {}
  void initialise(LONG initial, LONG maximum) noexcept;
  /// False, and nothing added, beyond the maximum.
  bool release(std::uint32_t count, std::uint32_t& previous) noexcept;
};

}  // namespace orla::posix
