// HTTP servers for tests, on free ports of 127.0.0.1. A client that never comes, or never hangs up,
// keeps the test until its time limit ends it.
#pragma once

#include "platform/winapi.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace orla::test {

/// A port for clients to connect to. Winsock is started with it.
struct Listener {
  Listener() {
    WSADATA data;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    int length = WSAStartup(0x0101, &data) + static_cast<int>(sizeof address);
    handle = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(bind(handle, name, length) | listen(handle, 100), 0);
    EXPECT_EQ(getsockname(handle, name, &length), 0);
    port = ntohs(address.sin_port);
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener() { closesocket(handle), WSACleanup(); }

  std::string url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port) + path;
  }

  SOCKET handle;
  std::uint16_t port;
};

/// The server's side of the next connection that a client makes.
struct Connection {
  explicit Connection(const Listener& listener)
      : handle(accept(listener.handle, nullptr, nullptr)) {}
  Connection(const Connection&) = delete;
  ~Connection() { closesocket(handle); }

  /// Adds at most `most` bytes to those received; false when the client sends no more.
  bool receive(std::size_t most = std::string::npos) {
    char buffer[65536];
    const int got = recv(handle, buffer, static_cast<int>(std::min(most, sizeof buffer)), 0);
    if (got > 0) received.append(buffer, static_cast<std::size_t>(got));
    return got > 0;
  }
  /// Takes a request, its body announced by "Content-Length: ", off the bytes received.
  std::string request() {
    std::size_t length;
    while ((length = requestLength()) > received.size() && receive()) continue;
    std::string first = received.substr(0, length);
    received.erase(0, length);
    return first;
  }
  /// False when the client is gone.
  bool sendAll(const std::string& bytes) const {
    for (std::size_t sent = 0; sent < bytes.size();) {
      const int count = send(handle, &bytes[sent], static_cast<int>(bytes.size() - sent), 0);
      if (count <= 0) return false;
      sent += static_cast<std::size_t>(count);
    }
    return true;
  }
  /// Ends this side, and receives until the client hangs up, which then sees no reset.
  void end() {
    shutdown(handle, 1);
    while (receive()) continue;
  }

  const SOCKET handle;
  std::string received;

 private:
  std::size_t requestLength() const {
    const std::size_t head = received.find("\r\n\r\n"), at = received.find("\r\nContent-Length: ");
    if (head == std::string::npos) return head;
    return head + 4 + (at < head ? std::stoul(received.substr(at + 18, 20)) : 0);
  }
};

/// Answers each request on one connection with the next of `replies`, and ends.
class Server : public Listener {
 public:
  explicit Server(std::vector<std::string> replies)
      : thread_([this, script = std::move(replies)] {
          Connection connection(*this);
          for (const std::string& reply : script) {
            received_ += connection.request();
            connection.sendAll(reply);
          }
          connection.end();
          received_ += connection.received;
        }) {}
  /// All that the client sent until it hung up.
  const std::string& received() {
    if (thread_.joinable()) thread_.join();
    return received_;
  }

 private:
  std::string received_;
  std::jthread thread_;
};

}  // namespace orla::test
