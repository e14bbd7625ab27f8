// The base classes of every error that the HTTP, network and thread layers raise, and the texts of
// the foundation's own errors.
#pragma once

#include <cstddef>
#include <stdexcept>

#include "foundation/RWCString.h"

namespace orla {

/// An error that holds a message text. Copying never throws; the text lives as long as a copy does.
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

/// Misuse or a broken invariant.
class RWInternalErr : public RWxmsg {
 public:
  using RWxmsg::RWxmsg;
};

/// An index outside a vector: "[INDEX] Index (%u) out of range [0->%u]", with the index and the
/// number of entries.
class RWBoundsErr : public RWInternalErr {
 public:
  RWBoundsErr(std::size_t index, std::size_t entries)
      : RWInternalErr("[INDEX] Index (" + std::to_string(index) + ") out of range [0->" +
                      std::to_string(entries) + "]") {}
};

/// The text of a std::bad_alloc wherever an error's message is asked for.
inline constexpr char kNoMemoryText[] = "[NOMEM] No memory";

}  // namespace orla
