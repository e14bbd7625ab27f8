#pragma once

#include <chrono>
#include <httplib.h>
#include <string>
#include <string_view>

#include "Options.h"
#include "PackageStore.h"
#include "RequestLog.h"

namespace orla::devserver {

/// The status of the server: a page for browsers, and JSON for programs. No package has a path
/// below kPath, because package names contain no slash. If the query of a request below kPath
/// contains a command, the command is run instead.
class StatusPage {
 public:
  static constexpr char kPath[] = "/orla-status/";

  /// The maximum number of packages that are listed. They are the newest ones.
  static constexpr std::size_t kListed = 1000;

  /// The arguments must outlive the page.
  StatusPage(const Options& options, const PackageStore& store, const RequestLog& log);

  /// Returns true if the target is the page or one of its parts.
  static bool owns(std::string_view target);

  /// Answers a request for whose target owns() returns true. Throws a Refusal with status 400, 404
  /// or 405, or std::system_error if the packages cannot be listed. May be called on any thread.
  void answer(const httplib::Request& request, httplib::Response& response) const;

 private:
  std::string json(std::uint64_t after) const;

  const Options& options_;
  const PackageStore& store_;
  const RequestLog& log_;
  const std::chrono::system_clock::time_point started_;
};

}  // namespace orla::devserver
