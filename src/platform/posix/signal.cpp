#include <bit>
#include <climits>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/posix/kernel_object.h"

namespace orla::posix {

static_assert(std::endian::native == std::endian::little);

Signal::Signal(Kind kind, std::unique_ptr<NamedMemory> memory) noexcept
    : KernelObject(kind, std::move(memory)),
      state_(this->memory() != nullptr ? static_cast<State*>(this->memory()->state()) : &own_) {}

bool Signal::tryTake() noexcept {
  std::uint64_t word = state_->word;
  while (valueOf(word) != 0)
    if (state_->lasting != 0 || state_->word.compare_exchange_weak(word, word - 1)) return true;
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
    state_->word += kOneSleeper;
    // Sleeps only while the number, the word's first half in memory, is still 0.
    ::syscall(SYS_futex, &state_->word, FUTEX_WAIT, 0, left, nullptr, 0);
    state_->word -= kOneSleeper;
  }
  return true;
}

bool Signal::raise(std::uint64_t& before, std::uint32_t value) noexcept {
  auto* const word = &state_->word;
  if (!word->compare_exchange_weak(before, before - valueOf(before) + value)) return false;
  // The object may be gone by now; the wake-up goes by the address alone. It is for all of them:
  // one that waits for a second object as well may not take what it was woken for.
  if (before >= kOneSleeper) ::syscall(SYS_futex, word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
  return true;
}

void Event::initialise(BOOL manualReset, BOOL initialState) noexcept {
  state().lasting = manualReset != FALSE ? 1 : 0;
  state().word = initialState != FALSE ? 1 : 0;
}

void Event::set() noexcept {
  std::uint64_t before = state().word;
  while (valueOf(before) == 0 && !raise(before, 1)) {
  }
}

void Event::reset() noexcept {
  state().word &= ~std::uint64_t{0} << 32;
}

void Semaphore::initialise(LONG initial, LONG maximum) noexcept {
  state().maximum = static_cast<std::uint32_t>(maximum);
  state().word = static_cast<std::uint32_t>(initial);
}

bool Semaphore::release(std::uint32_t count, std::uint32_t& previous) noexcept {
  std::uint64_t before = state().word;
  do {
    previous = valueOf(before);
    if (count > state().maximum - previous) return false;
  } while (!raise(before, previous + count));
  return true;
}

}  // namespace orla::posix
