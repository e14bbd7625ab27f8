// The exception of the layer that faces the agent. The command exports turn it into their status.
#pragma once

#include <cstdint>

namespace orla {

/// Carries one of the library's error codes, and a detail that raisers may add (else 0).
class CVekExceptionImp {
 public:
  explicit CVekExceptionImp(std::uint32_t code, std::uint32_t detail = 0) noexcept
      : code_(code), detail_(detail) {}
  CVekExceptionImp(const CVekExceptionImp&) noexcept = default;
  CVekExceptionImp& operator=(const CVekExceptionImp&) noexcept = default;

  // The query for the code must be at slot 2 of the virtual table, because agents that catch this
  // exception call it there. The destructor has slots 0 and 1.
  virtual ~CVekExceptionImp() = default;
  virtual std::uint32_t GetErrorCode() const noexcept { return code_; }
  virtual std::uint32_t GetDetail() const noexcept { return detail_; }

 private:
  std::uint32_t code_;
  std::uint32_t detail_;
};

/// Raises `code`, without a detail.
[[noreturn]] inline void raiseError(std::uint32_t code) {
  throw CVekExceptionImp(code);
}

}  // namespace orla
