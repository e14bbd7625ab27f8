#include <climits>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/posix/kernel_object.h"

namespace orla::posix {

Signal::Signal(Kind kind, std::unique_ptr<NamedMemory> memory) noexcept
    : KernelObject(kind, std::move(memory)),
      state_(this->memory() != nullptr ? static_cast<State*>(this->memory()->state()) : &own_) {}

bool Signal::tryTake() noexcept {
  std::uint32_t value = state_->value;
  while (value != 0)
    if (state_->lasting != 0 || state_->value.compare_exchange_weak(value, value - 1)) return true;
  return false;
}

bool Signal::take(const Deadline& deadline) noexcept {
  while (!tryTake())
    if (!await(deadline)) return false;
  return true;
}

bool Signal::await(const Deadline& deadline) noexcept {
  while (!isSet()) {
    ::timespec storage;
    const ::timespec* left = timeLeft(deadline, storage);
    if (left != nullptr && left->tv_sec == 0 && left->tv_nsec == 0) return false;
    ++state_->sleepers;
    // Sleeps only while the number is still 0.
    ::syscall(SYS_futex, &state_->value, FUTEX_WAIT, 0, left, nullptr, 0);
    --state_->sleepers;
  }
  return true;
}

void Signal::wakeSleepers() noexcept {
  // All of them: one that waits for a second object as well may not take what it was woken for.
  if (state_->sleepers != 0)
    ::syscall(SYS_futex, &state_->value, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void Event::initialise(BOOL manualReset, BOOL initialState) noexcept {
  state().lasting = manualReset != FALSE ? 1 : 0;
  state().value = initialState != FALSE ? 1 : 0;
}

void Event::set() noexcept {
  if (state().value.exchange(1) == 0) wakeSleepers();
}

void Event::reset() noexcept {
  state().value = 0;
}

void Semaphore::initialise(LONG initial, LONG maximum) noexcept {
  state().maximum = static_cast<std::uint32_t>(maximum);
  state().value = static_cast<std::uint32_t>(initial);
}

bool Semaphore::release(std::uint32_t count, std::uint32_t& previous) noexcept {
  previous = state().value;
  do {
    if (count > state().maximum - previous) return false;
  } while (!state().value.compare_exchange_weak(previous, previous + count));
  wakeSleepers();
  return true;
}

}  // namespace orla::posix
