// Shows a destructor whether it can throw without ending the process.
#pragma once

#include <exception>

namespace orla {

/// An object whose destructor throws to report a failure has a member of this class. If
/// isUnwinding() returns true, the destructor must not throw, because a destructor that throws
/// while an exception unwinds the stack ends the process.
class UnwindDetector {
 public:
  /// Returns true if an exception that was not in flight when this object was created is unwinding
  /// the stack of the calling thread.
  bool isUnwinding() const noexcept { return std::uncaught_exceptions() > atCreation_; }

 private:
  int atCreation_ = std::uncaught_exceptions();
};

}  // namespace orla
