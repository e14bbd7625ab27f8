#pragma once

#include <cstdint>
#include <orla/ORLACl.h>
#include <stdexcept>
#include <string>

namespace orla {

/* Why a command failed: one line for the user, without its end. */
class CommandFailure : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/*
 * The library, initialised and connected to one server; both are undone at the end. A process runs
 * one command in one session: the library never clears its message, so only then does a message
 * belong to the failure at hand.
 */
class Session {
 public:
  explicit Session(const std::string& url);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  std::uint32_t handle() const { return handle_; }

 private:
  std::uint32_t handle_ = 0;
};

/*
 * Throws CommandFailure unless the status is ORLA_OK: "status 4: " and the library's message. The
 * explanation takes the place of a message when the library has none for the status, and follows
 * one that tells nothing.
 */
void require_ok(orla_status status, const std::string& explanation);

/* Text from the server or the library as one safe line: no line end, "?" for control characters. */
std::string one_line(std::string text);

}  // namespace orla
