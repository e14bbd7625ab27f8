// The exception of the server-facing layer. The command exports return its code as their status.
#pragma once

#include <cstdint>

namespace orla {

/// Holds one of the library's error codes and an optional detail, which is 0 by default.
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

/// Throws `code`, without a detail.
[[noreturn]] inline void raiseError(std::uint32_t code) {
  throw CVekExceptionImp(code);
}

}  // namespace orla
