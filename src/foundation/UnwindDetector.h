// Lets a destructor that may throw find out whether it may.
#pragma once

#include <exception>

namespace orla {

/// A member of an object whose destructor reports failures by throwing. A destructor that throws
/// while an exception unwinds the stack ends the process, so it must drop its failure if
/// isUnwinding() returns true.
class UnwindDetector {
 public:
  /// Returns true if an exception that was not in flight when this object was created is unwinding
  /// the stack of the calling thread.
  bool isUnwinding() const noexcept { return std::uncaught_exceptions() > atCreation_; }

 private:
  int atCreation_ = std::uncaught_exceptions();
};

}  // namespace orla
