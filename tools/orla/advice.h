#pragma once

#include <string>

#include "commands.h"

namespace orla {

/* Why a command failed, for its user: what happened, and where and what to do about it. */
struct Failure {
  std::string message;
  std::string advice;
};

/*
 * The failure with that status: "status 4: " and the library's message. Where it has none, or one
 * that tells nothing, the cause stands in its place or behind it.
 */
Failure describe(const Request& request, orla_status status, const std::string& library_message);

/* Everything that the status may mean for the command. */
std::string meaning(Command command, orla_status status);

}  // namespace orla
