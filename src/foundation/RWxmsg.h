// The base classes of every error that the HTTP, network and thread layers throw, and the errors of
// the foundation itself.
#pragma once

#include <cstddef>
#include <stdexcept>

#include "foundation/RWCString.h"

namespace orla {

/// An error that holds a message text. Copying never throws. The text is valid while a copy of the
/// error exists.
class RWxmsg : public std::runtime_error {
 public:
  explicit RWxmsg(const RWCString& text) : std::runtime_error(text) {}
  /// The message, zero-terminated, never null.
  const char* why() const noexcept { return what(); }
};

/// A failure of the environment: the network, a file, the peer.
class RWExternalErr : public RWxmsg {
 public:
  using RWxmsg::RWxmsg;
};

/// Misuse of the library or a broken invariant.
class RWInternalErr : public RWxmsg {
 public:
  using RWxmsg::RWxmsg;
};

/// An index that is out of range. The text holds the index and the number of entries:
/// "[INDEX] Index (7) out of range [0->3]".
class RWBoundsErr : public RWInternalErr {
 public:
  RWBoundsErr(std::size_t index, std::size_t entries)
      : RWInternalErr("[INDEX] Index (" + std::to_string(index) + ") out of range [0->" +
                      std::to_string(entries) + "]") {}
};

/// The message that reports a std::bad_alloc.
inline constexpr char kNoMemoryText[] = "[NOMEM] No memory";

}  // namespace orla
