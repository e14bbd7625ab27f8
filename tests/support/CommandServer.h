// A management server for tests.
#pragma once

#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>

#include "support/Server.h"

namespace orla::test {

/// Serves eight requests at a time until the program ends.
///
/// The first word of the request's target chooses the reply: three characters are its status, "close"
/// leaves the length out, "short" states one byte too many, "gone" closes the connection without a
/// reply. The version command is answered with this word, the name and upload commands with their
/// query. An uploaded package is stored under its file name, for downloads.
class CommandServer {
 public:
  CommandServer() {
    for (int i = 0; i < 8; ++i)
      std::thread([this] {
        while (true) {
          serve();
          --busy_;
        }
      }).detach();
  }
  /// A URL whose path begins with `word`.
  std::string url(const std::string& word) const { return listener_.url("/" + word); }
  /// Waits until the accepted connections are closed.
  void settle() const {
    while (busy_ != 0) std::this_thread::yield();
  }

 private:
  void serve() {
    Connection connection(listener_);
    ++busy_;
    connection.sendAll(answer(connection.request()));
    connection.end();
  }
  std::string answer(const std::string& request) {
    char first[100] = "", query[1000] = "";
    std::sscanf(request.c_str(), "%*s /%99[^?& ]%*[?&]%999s", first, query);
    const std::string word = first;
    std::string body = query;
    const std::lock_guard lock(mutex_);
    if (request.starts_with("POST"))
      packages_[body.substr(body.rfind('=') + 1)] = request.substr(request.find("\r\n\r\n") + 4);
    if (body.starts_with("Counter=")) body = packages_[word];
    if (body.ends_with("GetVersion")) body = word;
    if (word == "gone") return "";
    const std::string status = word.size() == 3 ? word : word.empty() ? "400" : "200";
    const std::string length = std::to_string(body.size() + (word == "short"));
    return "HTTP/1.1 " + status + " X\r\n" +
           (word == "close" ? "" : "Content-Length: " + length + "\r\n") + "\r\n" + body;
  }

  Listener listener_;
  std::atomic<int> busy_{0};
  std::mutex mutex_;
  std::map<std::string, std::string> packages_;
};

}  // namespace orla::test
