// A management server for tests, on a free port of 127.0.0.1.
#pragma once

#include "platform/winapi.h"

#include <atomic>
#include <cstdio>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace orla::test {

/// Serves eight requests at a time until the program ends. The first word of a target is the version
/// and the manner of the reply: three digits are its status, "close" is one without a length,
/// "short" a byte too short, "gone" none. A name or an upload is answered by the query; what was
/// uploaded is kept under its file name, for downloads.
class CommandServer {
 public:
  CommandServer() {
    WSADATA data;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    int length = WSAStartup(0x0101, &data) + static_cast<int>(sizeof address);
    const SOCKET listener = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(bind(listener, name, length) | listen(listener, 100), 0);
    EXPECT_EQ(getsockname(listener, name, &length), 0);
    url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
    for (int i = 0; i < 8; ++i)
      std::thread([=, this] {
        while (true) serve(listener);
      }).detach();
  }
  /// A URL whose path begins with `word`.
  std::string url(const std::string& word) const { return url_ + word; }
  /// Waits until the connections of all commands that have ended are closed.
  void settle() const {
    while (busy_ != 0) std::this_thread::yield();
  }

 private:
  void serve(SOCKET listener) {
    const SOCKET peer = accept(listener, nullptr, nullptr);
    ++busy_;
    const std::string reply = answer(receive(peer));
    for (int sent = 0, count = 1, size = static_cast<int>(reply.size()); count > 0; sent += count)
      count = send(peer, reply.data() + sent, size - sent, 0);
    shutdown(peer, 1);
    receive(peer);  // Until the client closes, which then sees no reset.
    closesocket(peer), --busy_;
  }
  static std::string receive(SOCKET peer) {
    std::string got;
    char bytes[16384];
    for (std::size_t head = 0, length = 0; head == 0 || got.size() < head + length;) {
      const int count = recv(peer, bytes, sizeof bytes, 0);
      if (count <= 0) break;
      got.append(bytes, static_cast<std::size_t>(count));
      head = got.find("\r\n\r\n") + 4;  // 3 is that of none.
      const std::size_t at = got.find("\r\nContent-Length: ");
      length = at < head ? std::stoul(got.substr(at + 18)) : head == 3 ? got.size() : 0;
    }
    return got;
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
    const std::string length = std::to_string(body.size() + (word == "short"));
    return "HTTP/1.1 " +
           (word.size() == 3 ? word
            : word.empty()   ? "400"
                             : "200") +
           " X\r\n" + (word == "close" ? "" : "Content-Length: " + length + "\r\n") + "\r\n" + body;
  }

  std::string url_;
  std::atomic<int> busy_{0};
  std::mutex mutex_;
  std::map<std::string, std::string> packages_;
};

}  // namespace orla::test
