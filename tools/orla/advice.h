#pragma once

#include <string>

#include "commands.h"

namespace orla::cli {

/// The reason why a command failed, as it is shown to the user.
struct Failure {
  std::string message;  // what happened, and where
  std::string advice;   // what to do
};

/// Returns true if the command failed, or if a downloaded file does not have the expected size.
bool hasFailed(const Request& request, const Outcome& outcome);

/// Describes the failure of a command for which hasFailed() returns true. The message begins with
/// the status, such as "status 4: ", unless a downloaded file does not have the expected size.
/// After the status comes:
///
/// - the library's message, if it is informative;
/// - the library's message and the probable cause in parentheses, if the message is uninformative;
/// - the probable cause, if the status has no message.
Failure describe(const Request& request, const Outcome& outcome, const std::string& libraryMessage);

}  // namespace orla::cli
