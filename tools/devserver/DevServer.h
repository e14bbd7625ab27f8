#pragma once

#include <atomic>
#include <cstdint>
#include <httplib.h>
#include <string>

#include "PackageStore.h"

namespace orla {

/*
 * The management server of a developer's desk: answers the agent's four commands on a folder of its
 * own. Each connection carries one request, as the agents' do.
 *
 *   GET  any path?ORLACommand=GetVersion          the version text
 *   GET  any path?ORLACommand=CompileName&...     a name made of type and identities
 *   POST any path?ORLACommand=UploadPackage&...   stores the body under its FileName, or under the
 *                                                 compiled name; answers with that name
 *   GET  /name                                    the stored package
 *
 * Everything else is refused with a 4xx status and a line of reason, a file system that fails with
 * 500, or 507 when it is full. Requests are logged to the standard error stream, a line each.
 */
class DevServer {
 public:
  struct Options {
    std::string folder;
    std::string version;
    std::uint64_t max_upload = 0;  // bytes
  };

  explicit DevServer(const Options& options);

  /*
   * Starts to listen; connections wait until run(). Port 0 takes a free one. Returns the port, or
   * -1 when the address cannot be bound.
   */
  int bind(const std::string& host, int port);

  /* Serves until stop(), then ends the requests in progress. False when accepting failed. */
  bool run();

  /* Ends run(), waiting for it to begin. Any thread but a request's own. */
  void stop();

 private:
  httplib::Server::HandlerResponse route(const httplib::Request& request,
                                         httplib::Response& response) const;
  void get(const httplib::Request& request, httplib::Response& response) const;
  void post(const httplib::Request& request, httplib::Response& response,
            const httplib::ContentReader& body) const;
  void send_package(const std::string& name, httplib::Response& response) const;

  PackageStore store_;
  std::string version_;
  std::uint64_t max_upload_;
  httplib::Server server_;
  std::atomic<bool> ended_{false};
};

}  // namespace orla
