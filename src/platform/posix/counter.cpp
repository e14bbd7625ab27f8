#include "platform/posix/counter.h"

#include <bit>
#include <climits>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/posix/last_error.h"

namespace orla::posix {

static_assert(std::endian::native == std::endian::little);

Counter::Counter(Kind kind, std::unique_ptr<NamedMemory> memory) noexcept
    : KernelObject(kind, std::move(memory)),
      state_(this->memory() != nullptr ? static_cast<State*>(this->memory()->state()) : &own_) {}

bool Counter::tryTake() noexcept {
  std::uint64_t word = state_->word;
  while (valueOf(word) != 0)
    if (state_->manualReset != 0 || state_->word.compare_exchange_weak(word, word - 1)) return true;
  return false;
}

bool Counter::take(const Deadline& deadline) noexcept {
  while (!tryTake())
    if (!waitUntilSet(deadline)) return false;
  return true;
}

bool Counter::waitUntilSet(const Deadline& deadline) noexcept {
  while (!isSet()) {
    ::timespec storage;
    const ::timespec* left = timeLeft(deadline, storage);
    if (left != nullptr && left->tv_sec == 0 && left->tv_nsec == 0) return false;
    state_->word += kOneSleeper;
    // Sleeps only if the number is still 0. It is the first half of the word in memory.
    ::syscall(SYS_futex, &state_->word, FUTEX_WAIT, 0, left, nullptr, 0);
    state_->word -= kOneSleeper;
  }
  return true;
}

bool Counter::tryIncrease(std::uint64_t& before, std::uint32_t value) noexcept {
  auto* const word = &state_->word;
  if (!word->compare_exchange_weak(before, before - valueOf(before) + value)) return false;
  // Another thread may have deleted the object by now, so only the word's address is used, and the
  // word is not read. All sleepers are woken, because one that also waits for a second object may
  // not take this one.
  if (before >= kOneSleeper) ::syscall(SYS_futex, word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
  return true;
}

void Event::initialize(BOOL manualReset, BOOL initialState) noexcept {
  state().manualReset = manualReset != FALSE ? 1 : 0;
  state().word = initialState != FALSE ? 1 : 0;
}

void Event::set() noexcept {
  std::uint64_t before = state().word;
  while (valueOf(before) == 0 && !tryIncrease(before, 1)) {
  }
}

void Event::reset() noexcept {
  state().word &= ~std::uint64_t{0} << 32;
}

void Semaphore::initialize(LONG initial, LONG maximum) noexcept {
  state().maximum = static_cast<std::uint32_t>(maximum);
  state().word = static_cast<std::uint32_t>(initial);
}

bool Semaphore::release(std::uint32_t count, std::uint32_t& previous) noexcept {
  std::uint64_t before = state().word;
  do {
    previous = valueOf(before);
    if (count > state().maximum - previous) return false;
  } while (!tryIncrease(before, previous + count));
  return true;
}

}  // namespace orla::posix

namespace orla {

using posix::Event;
using posix::fail;
using posix::objectOf;
using posix::Semaphore;

HANDLE CreateEventA(SECURITY_ATTRIBUTES*, BOOL manualReset, BOOL initialState,
                    const char* name) noexcept {
  return posix::create<Event>(name,
                              [=](Event& event) { event.initialize(manualReset, initialState); });
}

BOOL SetEvent(HANDLE handle) noexcept {
  auto* event = objectOf<Event>(handle);
  if (event == nullptr) return FALSE;
  event->set();
  return TRUE;
}

BOOL ResetEvent(HANDLE handle) noexcept {
  auto* event = objectOf<Event>(handle);
  if (event == nullptr) return FALSE;
  event->reset();
  return TRUE;
}

HANDLE CreateSemaphoreA(SECURITY_ATTRIBUTES*, LONG initial, LONG maximum,
                        const char* name) noexcept {
  if (maximum <= 0 || initial < 0 || initial > maximum) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return posix::create<Semaphore>(
      name, [=](Semaphore& semaphore) { semaphore.initialize(initial, maximum); });
}

BOOL ReleaseSemaphore(HANDLE handle, LONG count, LONG* previous) noexcept {
  auto* semaphore = objectOf<Semaphore>(handle);
  if (semaphore == nullptr) return FALSE;
  if (count <= 0) return fail(ERROR_INVALID_PARAMETER);
  std::uint32_t before;
  if (!semaphore->release(static_cast<std::uint32_t>(count), before))
    return fail(ERROR_TOO_MANY_POSTS);
  if (previous != nullptr) *previous = static_cast<LONG>(before);
  return TRUE;
}

}  // namespace orla
