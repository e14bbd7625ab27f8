#pragma once

#include "foundation/RWxmsg.h"

namespace orla::test {

/// The message of the error that `action` raises.
template <class Action>
RWCString errorOf(const Action& action) {
  try {
    action();
  } catch (const RWxmsg& error) {
    return error.why();
  }
  return "nothing raised";
}

}  // namespace orla::test
