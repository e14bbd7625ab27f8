#pragma once

#include <cstdint>
#include <orla/ORLACl.h>
#include <stdexcept>
#include <string>

namespace orla::cli {

/// Reports that the library cannot be used. Contains the status that the library returned, and
/// advice for the user.
class SessionError : public std::runtime_error {
 public:
  SessionError(const char* what, orla_status status, const char* advice)
      : std::runtime_error(what), status_(status), advice_(advice) {}

  orla_status status() const { return status_; }
  const char* advice() const { return advice_; }

 private:
  orla_status status_;
  const char* advice_;
};

/// Initializes the library. The destructor cleans it up. Every Connection must be destroyed, and
/// every thread that uses the library must have ended, before the destructor runs. The constructor
/// throws SessionError if the library cannot be initialized, or if it cannot lock its table of
/// connections.
class Library {
 public:
  Library();
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

/// A connection of the library, which the destructor disconnects. At most ORLA_MAX_CONNECTIONS may
/// exist at the same time. The constructor throws SessionError if the connection cannot be created.
class Connection {
 public:
  explicit Connection(const std::string& url);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  std::uint32_t handle() const { return handle_; }

 private:
  std::uint32_t handle_ = 0;
};

/// Returns the library's message as one line. The library keeps one message for all threads and
/// never clears it. If a failure sets no message, this is the message of an earlier failure. If
/// several threads run commands, it may be the message of another thread's failure.
std::string lastMessage();

/// Returns a text of the server or the library as one line that is safe to show. The line end is
/// removed. Each character that controls a terminal, is invisible, or changes the order of others
/// becomes "?".
std::string oneLine(std::string text);

}  // namespace orla::cli
