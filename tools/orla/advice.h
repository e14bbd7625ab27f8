#pragma once

#include <string>

#include "commands.h"

namespace orla::cli {

/// Why a command failed, in the words for its user: what happened and where, and what to do.
struct Failure {
  std::string message;
  std::string advice;
};

/// Returns true if the command failed, or if a downloaded file does not have the expected size.
bool hasFailed(const Request& request, const Outcome& outcome);

/// Describes a failure: "status 4: " and the library's message. If there is no message, the cause
/// replaces it; if the message is uninformative, the cause follows it.
Failure describe(const Request& request, const Outcome& outcome, const std::string& libraryMessage);

}  // namespace orla::cli
