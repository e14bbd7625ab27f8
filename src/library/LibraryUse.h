// How the exports and the entry points reach the one library-wide object.
#pragma once

#include "client/CVekInet.h"

namespace orla {

/// Uses the library-wide object for the length of a scope, on any thread.
///
/// The object exists from the loading of the library until its unloading or the program's exit. It
/// is destroyed then, unless another thread is using it: a program that exits while its threads run
/// commands must not crash. In that case only its cleanup runs, and the process frees the rest.
class LibraryUse {
 public:
  LibraryUse() noexcept;
  LibraryUse(const LibraryUse&) = delete;
  LibraryUse& operator=(const LibraryUse&) = delete;
  ~LibraryUse();

  /// False if there is no object because the library is not yet loaded or is being unloaded.
  explicit operator bool() const noexcept { return inet_ != nullptr; }
  CVekInet& operator*() const noexcept { return *inet_; }
  CVekInet* operator->() const noexcept { return inet_; }

 private:
  CVekInet* inet_;
};

}  // namespace orla
