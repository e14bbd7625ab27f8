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

/// A management server for developers: it answers the four commands of an agent and stores the
/// packages in one directory. Each connection carries one request, as those of the agents do.
///
///   GET  any path?ORLACommand=GetVersion          the version text
///   GET  any path?ORLACommand=CompileName&...     a name made of type and identities
///   POST any path?ORLACommand=UploadPackage&...   stores the body under its FileName, or under the
///                                                 compiled name; answers with that name
///   GET  /name                                    the stored package
///   GET  /orla-status/                            the status page
///
/// Every other request is refused with a 4xx status and one line with the reason. If the file
/// system fails, the status is 500, or 507 if it is full. Requests are recorded for the status
/// page, except those of the page itself. The delay, the failure and the framing in the options
/// apply to every answer except those of the status page.
class DevServer {
 public:
  explicit DevServer(const Options& options);

  /// Starts to listen on a host name or address. Connections wait until run() is called. Port 0
  /// selects a free port. Returns the port, or -1 if the address cannot be bound.
  int bind(const std::string& host, int port);

  /// Serves until stop() is called, then finishes the requests in progress. Returns false if
  /// accepting connections failed.
  bool run();

  /// Ends run(), after waiting for it to begin. May be called on any thread that serves no request.
  void stop();

 private:
  /// The body of an answer: a text or a package.
  struct Answer {
    /// Copies at most `most` bytes from `offset` into the buffer. Returns their number, 0 at the
    /// end, or -1 on failure.
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
  std::string host_;  // the argument of bind()
  socket_t listener_ = INVALID_SOCKET;
  std::atomic<bool> ended_{false};  // run() no longer serves
  std::mutex mutex_;
  std::condition_variable stopped_;
  bool stopping_ = false;  // under mutex_
};

}  // namespace orla::devserver
