#pragma once

#include <stdexcept>
#include <string>

namespace orla::devserver {

/// The reason why a request is refused: the HTTP status of the answer, and the line that is its
/// body.
class Refusal : public std::runtime_error {
 public:
  Refusal(int status, const std::string& reason) : std::runtime_error(reason), status_(status) {}

  int status() const { return status_; }

 private:
  int status_;
};

}  // namespace orla::devserver
