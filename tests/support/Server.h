// HTTP servers for tests, on free ports of 127.0.0.1. If a client never connects, or never closes its
// connection, the test waits until its time limit ends it.
#pragma once

#include "platform/winapi.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace orla::test {

/// A port that clients connect to. It starts Winsock.
struct Listener {
  Listener() {
    WSADATA data;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    int length = sizeof address;
    EXPECT_EQ(WSAStartup(0x0101, &data), 0);
    handle = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(bind(handle, name, length), 0);
    EXPECT_EQ(listen(handle, 100), 0);
    EXPECT_EQ(getsockname(handle, name, &length), 0);
    port = ntohs(address.sin_port);
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener() {
    closesocket(handle);
    WSACleanup();
  }

  std::string url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port) + path;
  }

  SOCKET handle;
  std::uint16_t port;
};

/// The server's side of the next connection. The constructor waits for a client to connect.
struct Connection {
  explicit Connection(const Listener& listener)
      : handle(accept(listener.handle, nullptr, nullptr)) {}
  Connection(const Connection&) = delete;
  ~Connection() { closesocket(handle); }

  /// Appends at most `most` bytes to `received`. Returns false if the client sends no more.
  bool receive(std::size_t most = std::string::npos) {
    char buffer[65536];
    const int got = recv(handle, buffer, static_cast<int>(std::min(most, sizeof buffer)), 0);
    if (got > 0) received.append(buffer, static_cast<std::size_t>(got));
    return got > 0;
  }
  /// Returns the next request and removes it from `received`. Its body has the length that
  /// "Content-Length: " states. The request is incomplete if the client sends no more.
  std::string request() {
    std::size_t length;
    while ((length = requestLength()) > received.size() && receive()) continue;
    std::string first = received.substr(0, length);
    received.erase(0, length);
    return first;
  }
  /// Returns false if the connection is closed.
  bool sendAll(const std::string& bytes) const {
    for (std::size_t sent = 0; sent < bytes.size();) {
      const int count = send(handle, &bytes[sent], static_cast<int>(bytes.size() - sent), 0);
      if (count <= 0) return false;
      sent += static_cast<std::size_t>(count);
    }
    return true;
  }
  /// Ends the sending, and receives until the client closes the connection. Closing earlier could
  /// reset it.
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

/// Answers the requests on one connection with `replies`, one after the other.
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
  /// Waits until the client closes the connection, and returns all that it sent.
  const std::string& received() {
    if (thread_.joinable()) thread_.join();
    return received_;
  }

 private:
  std::string received_;
  std::jthread thread_;
};

}  // namespace orla::test
