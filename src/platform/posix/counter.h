// The event and the semaphore behind CreateEventA and CreateSemaphoreA.
#pragma once

#include <atomic>
#include <memory>

#include "platform/posix/kernel_object.h"

namespace orla::posix {

/// A number: the count of a semaphore, or the state of an event, which is 1 if the event is set. A
/// thread that takes the object waits until the number is above 0 and then decrements it, except
/// for an event with a manual reset, which stays set. The number changes in one atomic step, so
/// that it is valid even if a process is killed while it changes it.
class Counter : public KernelObject {
 public:
  bool tryTake() noexcept override;
  bool take(const Deadline& deadline) noexcept override;
  bool isSet() const noexcept { return valueOf(state_->word) != 0; }
  /// Waits until the number is above 0, and takes nothing. Returns false if the deadline passed
  /// first.
  bool waitUntilSet(const Deadline& deadline) noexcept;

 protected:
  struct State {
    // The low half is the number. The high half counts the sleeping threads. A thread that is
    // killed while it sleeps stays counted, which costs only needless wake-up calls. Both halves
    // are in one word, because a thread that has increased the number must not read the state
    // again: a thread that it wakes may delete the object.
    std::atomic<std::uint64_t> word;
    std::uint32_t maximum;
    std::uint32_t manualReset;  // 1 for an event with a manual reset, otherwise 0.
  };
  static_assert(sizeof(State) <= NamedMemory::kStateSize);
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
  static constexpr std::uint64_t kOneSleeper = std::uint64_t{1} << 32;

  static std::uint32_t valueOf(std::uint64_t word) noexcept {
    return static_cast<std::uint32_t>(word);
  }

  Counter(Kind kind, std::unique_ptr<NamedMemory> memory) noexcept;
  /// If the word is still `before`, sets its number to `value`, which is not lower, wakes all
  /// sleepers and returns true. Otherwise sets `before` to the current word and returns false. May
  /// also fail spuriously, so the caller must repeat it.
  bool tryIncrease(std::uint64_t& before, std::uint32_t value) noexcept;
  State& state() noexcept { return *state_; }

 private:
  State own_{};
  State* const state_;
};

class Event final : public Counter {
 public:
  static constexpr Kind kKind = Kind::kEvent;

  explicit Event(std::unique_ptr<NamedMemory> memory) noexcept
      : Counter(kKind, std::move(memory)) {}
  void initialize(BOOL manualReset, BOOL initialState) noexcept;
  void set() noexcept;
  void reset() noexcept;
};

class Semaphore final : public Counter {
 public:
  static constexpr Kind kKind = Kind::kSemaphore;

  explicit Semaphore(std::unique_ptr<NamedMemory> memory) noexcept
      : Counter(kKind, std::move(memory)) {}
  void initialize(LONG initial, LONG maximum) noexcept;
  /// Returns false, and adds nothing, if the sum would exceed the maximum.
  bool release(std::uint32_t count, std::uint32_t& previous) noexcept;
};

}  // namespace orla::posix
