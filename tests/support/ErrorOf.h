#pragma once

#include "foundation/RWxmsg.h"

namespace orla::test {

/// Returns the message of the error that `action` throws.
template <class Action>
RWCString errorOf(const Action& action) {
  try {
    action();
  } catch (const RWxmsg& error) {
    return error.why();
  }
  return "nothing thrown";
}

}  // namespace orla::test
