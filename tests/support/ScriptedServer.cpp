#include "support/ScriptedServer.h"

#include "platform/winapi.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace orla::test {

namespace {

bool isReady(SOCKET socket, timeval limit = {0, 2000}) {
  fd_set set;
  FD_ZERO(&set);
  FD_SET(socket, &set);
  return select(0, &set, nullptr, nullptr, &limit) > 0;
}

}  // namespace

/// Its thread alone uses it; the test gets what `received` held at the script's end.
class ScriptedConnection {
 public:
  explicit ScriptedConnection(Script steps) : script(std::move(steps)) {}

  void play(const std::atomic<bool>& stopping) {
    try {
      for (const Step& step : script) step(*this);
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what() << "; received: " << received.substr(0, 1000);
    }
    shutdown(socket, 1);
    ended.set_value(received);
    while (isReady(socket) ? receive() : !stopping) continue;
    closesocket(socket);
  }

  bool receive() {
    char buffer[65536];
    const int got = recv(socket, buffer, sizeof buffer, 0);
    if (got > 0) received.append(buffer, static_cast<std::size_t>(got));
    return got > 0;
  }

  const Script script;
  SOCKET socket = INVALID_SOCKET;
  std::string received;
  std::size_t taken = 0;  // Of `received`, by the steps.
  std::promise<std::string> ended;
  std::shared_future<std::string> result = ended.get_future().share();
  std::jthread thread;
};

Step expectRequest() {
  return [](ScriptedConnection& c) {
    std::size_t length;
    while ((length = requestLength(std::string_view(c.received).substr(c.taken))) == 0) {
      if (!isReady(c.socket, {kTimeLimit.count(), 0}) || !c.receive())
        throw std::runtime_error("no whole request in time");
    }
    c.taken += length;
  };
}

Step sendBytes(std::string bytes) {
  return [bytes](ScriptedConnection& connection) {
    for (int sent = 0, count = 1, size = static_cast<int>(bytes.size()); count > 0; sent += count)
      count = send(connection.socket, bytes.data() + sent, size - sent, 0);
  };
}

Step waitFor(Gate gate) {
  return [gate](ScriptedConnection&) {
    if (!gate.wait()) throw std::runtime_error("the gate was never opened");
  };
}

Step opens(Gate gate) {
  return [gate](ScriptedConnection&) mutable { gate.open(); };
}

Script reply(std::string bytes) {
  return {expectRequest(), sendBytes(std::move(bytes))};
}

std::size_t requestLength(std::string_view bytes) {
  const std::size_t end = bytes.find("\r\n\r\n");
  if (end == bytes.npos) return 0;
  std::size_t length = end + 4;
  constexpr std::string_view kLabel = "\r\nContent-Length: ";
  if (const std::size_t at = bytes.find(kLabel); at < end)
    length += std::stoul(std::string(bytes.substr(at + kLabel.size(), 20)));
  return length <= bytes.size() ? length : 0;
}

std::uintptr_t listenOnLoopback(int& port) {
  WSADATA data;
  WSAStartup(0x0101, &data);
  const SOCKET listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int length = sizeof address;
  auto* const name = reinterpret_cast<sockaddr*>(&address);
  EXPECT_EQ(bind(listener, name, length) | listen(listener, 5), 0);
  EXPECT_EQ(getsockname(listener, name, &length), 0);
  port = ntohs(address.sin_port);
  return listener;
}

ScriptedServer::ScriptedServer(std::vector<Script> scripts) : listener_(listenOnLoopback(port_)) {
  for (Script& script : scripts)
    connections_.push_back(std::make_unique<ScriptedConnection>(std::move(script)));
  acceptor_ = std::thread([this] { acceptAll(); });
}

ScriptedServer::~ScriptedServer() {
  stopping_ = true;
  acceptor_.join();
  connections_.clear();
  WSACleanup();
}

void ScriptedServer::acceptAll() {
  const auto listener = static_cast<SOCKET>(listener_);
  for (const auto& connection : connections_) {
    // Once more after the stop, for a connection made before it.
    for (bool last = false; !isReady(listener) && !std::exchange(last, stopping_);) continue;
    if (!isReady(listener)) {
      ADD_FAILURE() << "a connection never came";
      break;
    }
    connection->socket = accept(listener, nullptr, nullptr);
    connection->thread = std::jthread([&] { connection->play(stopping_); });
  }
  closesocket(listener);
}

std::string ScriptedServer::request(std::size_t connection) const {
  return connections_.at(connection)->result.get();
}

}  // namespace orla::test
