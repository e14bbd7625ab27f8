#pragma once

#include <chrono>
#include <httplib.h>
#include <string>
#include <string_view>

#include "Options.h"
#include "PackageStore.h"
#include "RequestLog.h"

namespace orla::devserver {

/// What the server is doing, for the browser, and as JSON for programs. The paths below kPath are no
/// package's, whose names have no slash, and no command's, which names itself in its query.
class StatusPage {
 public:
  static constexpr char kPath[] = "/orla-status/";

  /// Packages that are listed, the newest.
  static constexpr std::size_t kListed = 1000;

  /// All three must outlive it.
  StatusPage(const Options& options, const PackageStore& store, const RequestLog& log);

  /// Whether the request is for the page or one of its parts.
  static bool owns(std::string_view target);

  /// Answers such a request. Refuses with 400, 404 and 405. Any thread.
  void answer(const httplib::Request& request, httplib::Response& response) const;

 private:
  std::string json(std::uint64_t after) const;

  const Options& options_;
  const PackageStore& store_;
  const RequestLog& log_;
  const std::chrono::system_clock::time_point started_;
};

}  // namespace orla::devserver
