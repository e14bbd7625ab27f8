#pragma once

#include <string>

#include "commands.h"

namespace orla::cli {

/* Why a command failed, for its user: what happened, and where and what to do about it. */
struct Failure {
  std::string message;
  std::string advice;
};

/* Whether the command failed, or came with a file of another size than its user expects. */
bool hasFailed(const Request& request, const Outcome& outcome);

/*
 * Such a failure: "status 4: " and the library's message. Where it has none, or one that tells
 * nothing, the cause stands in its place or behind it.
 */
Failure describe(const Request& request, const Outcome& outcome, const std::string& libraryMessage);

}  // namespace orla::cli
