#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "CommandTarget.h"

namespace orla::devserver {

/// A request and its answer. The texts come from the network and may contain any bytes.
struct RequestRecord {
  std::uint64_t id = 0;  // from 1, in the order in which the requests ended
  std::chrono::system_clock::time_point time;
  std::string peer;    // address and port; empty if the request could not be read
  std::string method;  // empty if the request could not be read
  TargetDescription target;
  int status = 0;
  std::string reason;          // why it was refused; empty if it was not
  std::uint64_t received = 0;  // bytes of the request's body
  std::uint64_t sent = 0;      // bytes of the answer's body
  std::chrono::microseconds duration{0};
};

/// Keeps the last requests, and writes a line for each to standard error unless it is silent.
class RequestLog {
 public:
  /// The number of requests that are kept. A target has at most 8 KiB, so they need a few MiB at
  /// most.
  static constexpr std::size_t kKept = 300;

  struct Extract {
    std::vector<RequestRecord> records;  // the oldest first
    std::uint64_t total = 0;             // requests since the start
  };

  explicit RequestLog(bool silent) : silent_(silent) {}

  /// Assigns the id of the record and adds it. May be called on any thread.
  void add(RequestRecord record);

  /// Returns the kept records with a larger id. May be called on any thread.
  Extract after(std::uint64_t id) const;

 private:
  const bool silent_;
  mutable std::mutex mutex_;
  std::deque<RequestRecord> records_;
  std::uint64_t total_ = 0;
};

/// Returns the time in UTC, such as "2026-02-28T09:30:00.125Z".
std::string utcText(std::chrono::system_clock::time_point time);

}  // namespace orla::devserver
