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

/// A request as it was served. The texts come from the network and may hold any bytes.
struct RequestRecord {
  std::uint64_t id = 0;  // from 1, in the order in which requests ended
  std::chrono::system_clock::time_point time;
  std::string peer;    // address and port; empty when the request could not be read
  std::string method;  // empty when the request could not be read
  TargetDescription target;
  int status = 0;
  std::string reason;          // why it was refused; else empty
  std::uint64_t received = 0;  // bytes of the request's body
  std::uint64_t sent = 0;      // bytes of the answer's body
  std::chrono::microseconds duration{0};
};

/// The last requests, a bounded number; a line for each on the standard error stream unless silent.
class RequestLog {
 public:
  /// Requests that are kept. A target is at most 8 KiB, so they fill a few MiB at most.
  static constexpr std::size_t kKept = 300;

  struct Extract {
    std::vector<RequestRecord> records;  // the oldest first
    std::uint64_t total = 0;             // requests since the start
  };

  explicit RequestLog(bool silent) : silent_(silent) {}

  /// Gives the record its id. Any thread.
  void add(RequestRecord record);

  /// The records with a larger id that are still kept. Any thread.
  Extract after(std::uint64_t id) const;

 private:
  const bool silent_;
  mutable std::mutex mutex_;
  std::deque<RequestRecord> records_;
  std::uint64_t total_ = 0;
};

/// As in "2026-02-28T09:30:00.125Z".
std::string utcText(std::chrono::system_clock::time_point time);

}  // namespace orla::devserver
