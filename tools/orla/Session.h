#pragma once

#include <cstdint>
#include <orla/ORLACl.h>
#include <stdexcept>
#include <string>

namespace orla::cli {

/// The library cannot be used. Has the status that it returned, and advice for the user.
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

/// The library, initialized; cleaned up by the destructor, which must run after every connection
/// and thread has ended. The constructor throws SessionError, also if the table of connections
/// cannot be locked.
class Library {
 public:
  Library();
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

/// One of the library's connections, of which ORLA_MAX_CONNECTIONS may exist. The constructor
/// throws SessionError.
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

/// The library's message as one line. The library keeps one message for all threads and never
/// clears it. It certainly belongs to a failure only if that is the first one of the process, and
/// no other command runs.
std::string lastMessage();

/// The text of the server or the library as one line that is safe to show: without the line end,
/// and with "?" for each character that controls a terminal, is invisible, or reorders others.
std::string oneLine(std::string text);

}  // namespace orla::cli
