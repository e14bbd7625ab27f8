#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "HttpServer.h"
#include "Options.h"
#include "PackageStore.h"
#include "RequestLog.h"
#include "StatusPage.h"

namespace orla::devserver {

/// The management server of a developer's desk: answers the agent's four commands on a folder of its
/// own. Each connection carries one request, as the agents' do.
///
///   GET  any path?ORLACommand=GetVersion          the version text
///   GET  any path?ORLACommand=CompileName&...     a name made of type and identities
///   POST any path?ORLACommand=UploadPackage&...   stores the body under its FileName, or under the
///                                                 compiled name; answers with that name
///   GET  /name                                    the stored package
///   GET  /orla-status/                            the status page
///
/// Everything else is refused with a 4xx status and a line of reason, a file system that fails with
/// 500, or 507 when it is full. Requests are recorded for the status page, less those of the page
/// itself. Delay, failure and framing of the options are for all answers but the status page's.
class DevServer {
 public:
  explicit DevServer(const Options& options);

  /// Starts to listen; connections wait until run(). Port 0 takes a free one. Returns the port, or
  /// -1 when the address cannot be bound.
  int bind(const std::string& host, int port);

  /// Serves until stop(), then ends the requests in progress. False when accepting failed.
  bool run();

  /// Ends run(), waiting for it to begin. Any thread but a request's own.
  void stop();

 private:
  /// What an answer sends, text or package.
  struct Answer {
    /// Puts at most so many bytes from this offset into the buffer; returns their number, 0 at the
    /// end, or -1.
    using Read = std::function<ssize_t(char* into, std::size_t most, std::uint64_t offset)>;

    std::string type;
    std::uint64_t size = 0;
    Read read;
  };

  static Answer text(std::string content);

  httplib::Server::HandlerResponse route(const httplib::Request& request,
                                         httplib::Response& response);
  Answer get(const httplib::Request& request) const;
  Answer post(const httplib::Request& request, const httplib::Response& response,
              const httplib::ContentReader& body) const;
  Answer package(const std::string& name) const;
  void checkRequest(const httplib::Request& request) const;
  void answer(httplib::Response& response, const std::function<Answer()>& make);
  void frame(httplib::Response& response, Answer answer) const;
  void waitDelay();
  void record(const httplib::Request& request, const httplib::Response& response);

  const Options options_;
  PackageStore store_;
  RequestLog log_;
  StatusPage page_;
  HttpServer server_;
  std::string host_;  // the address or name that bind() was given
  socket_t listener_ = INVALID_SOCKET;
  std::atomic<bool> ended_{false};
  std::mutex mutex_;
  std::condition_variable stopped_;
  bool stopping_ = false;  // under mutex_
};

}  // namespace orla::devserver
