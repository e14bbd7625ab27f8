// The mutex behind CreateMutexA.
#pragma once

#include <atomic>
#include <memory>
#include <pthread.h>

#include "platform/posix/kernel_object.h"

namespace orla::posix {

/// A robust mutex of the C library: the kernel marks it as abandoned if its owner ends.
class Mutex final : public KernelObject {
 public:
  static constexpr Kind kKind = Kind::kMutex;

  explicit Mutex(std::unique_ptr<NamedMemory> memory) noexcept;
  ~Mutex() override;

  void initialize(BOOL initialOwner) noexcept;
  bool tryTake() noexcept override;
  bool take(const Deadline& deadline) noexcept override;
  bool wasAbandoned() noexcept override;
  bool retire() noexcept override;
  /// Returns false if the calling thread does not own the mutex.
  bool release() noexcept;

 private:
  struct State {
    pthread_mutex_t lock;
    std::uint32_t depth;      // How often the owner has taken it. Guarded by `lock`.
    std::uint32_t abandoned;  // Found abandoned, and not yet reported. Guarded by `lock`.
  };
  static_assert(sizeof(State) <= NamedMemory::kStateSize);

  bool finishLock(int error) noexcept;

  State own_{};
  State* const state_;
  // The thread of this process that took it last and has not released it; 0 if there is none.
  std::atomic<DWORD> holder_{0};
};

}  // namespace orla::posix
