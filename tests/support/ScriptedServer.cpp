#include "support/ScriptedServer.h"

#include "platform/winapi.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "foundation/RWCString.h"

namespace orla::test {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::size_t npos = std::string_view::npos;

void tick() {
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

/// Waits for 2 ms at most.
bool isReady(SOCKET socket, bool forWriting = false) {
  fd_set set;
  FD_ZERO(&set);
  FD_SET(socket, &set);
  timeval limit{0, 2000};
  return select(0, forWriting ? nullptr : &set, forWriting ? &set : nullptr, nullptr, &limit) > 0;
}

template <class T>
void setOption(SOCKET socket, int level, int option, T value) {
  setsockopt(socket, level, option, reinterpret_cast<const char*>(&value), sizeof value);
}

void closeWithReset(SOCKET socket) {
  setOption(socket, SOL_SOCKET, SO_LINGER, linger{1, 0});
  closesocket(socket);
}

/// The length of the request that `bytes` begins with; 0 while it is incomplete.
std::size_t requestLength(std::string_view bytes) {
  std::size_t at = bytes.find("\r\n\r\n");
  if (at == npos) return 0;
  at += 4;
  const std::string head = toLowerAscii(std::string(bytes.substr(0, at)));
  const auto number = [](std::string_view text, int base) {
    return static_cast<std::size_t>(std::stoul(std::string(text.substr(0, 20)), nullptr, base));
  };
  if (head.find("\r\ntransfer-encoding: chunked\r\n") == npos) {
    const std::string label = "\r\ncontent-length:";
    const std::size_t length = head.find(label);
    if (length != npos) at += number(std::string_view(head).substr(length + label.size()), 10);
    return at <= bytes.size() ? at : 0;
  }
  while (at < bytes.size()) {
    const std::size_t lineEnd = bytes.find("\r\n", at);
    if (lineEnd == npos) return 0;
    const std::size_t size = number(bytes.substr(at), 16);
    if (size == 0) {
      const std::size_t end = bytes.find("\r\n\r\n", lineEnd);
      return end == npos ? 0 : end + 4;
    }
    at = lineEnd + 2 + size + 2;
  }
  return 0;
}

struct PeerGone {};

}  // namespace

/// A script and, once it has been accepted, its connection. The connection's own thread alone
/// changes it; `received` and `ended` it changes, and others read, under the server's mutex.
class ScriptedConnection {
 public:
  ScriptedConnection(ScriptedServer& owner, Script steps)
      : server(owner), script(std::move(steps)) {}

  void play(std::size_t number) {
    u_long nonBlocking = 1;
    ioctlsocket(socket, static_cast<long>(FIONBIO), &nonBlocking);
    setOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
    std::size_t step = 0;
    try {
      for (; step < script.size(); ++step) script[step](*this);
    } catch (const PeerGone&) {
    } catch (const std::exception& error) {
      server.fail("connection " + std::to_string(number) + ", step " + std::to_string(step) + ": " +
                  error.what() + "; received: " + received.substr(0, 1000));
    }
    if (socket != INVALID_SOCKET) closeOrderly();
    end();
  }

  bool stopping() const { return server.stopping_; }

  void checkTime() const {
    if (Clock::now() > deadline) throw std::runtime_error("the script takes too long");
  }

  /// False when the peer has closed or reset the connection or, after the script's end, when
  /// nothing more has come and the server stops.
  bool receiveMore() {
    while (!isReady(socket)) {
      if (ended && stopping()) return false;
      if (!ended) checkTime();
    }
    char buffer[65536];
    const int got = recv(socket, buffer, sizeof buffer, 0);
    if (got <= 0) return false;
    const std::lock_guard lock(server.mutex_);
    received.append(buffer, static_cast<std::size_t>(got));
    return true;
  }

  /// Receives until `length`, called with what no step has read yet, is not 0.
  template <class Length>
  void expect(const Length& length) {
    std::size_t count = 0;
    while ((count = length(std::string_view(received).substr(read))) == 0) {
      if (!receiveMore()) throw std::runtime_error("the peer closed too early");
    }
    read += count;
  }

  void drain() {
    while (receiveMore()) continue;
  }

  void sendAll(std::string_view bytes) {
    while (!bytes.empty()) {
      while (!isReady(socket, true)) checkTime();
      const std::size_t count = std::min<std::size_t>(bytes.size(), 1 << 20);
      const int sent = send(socket, bytes.data(), static_cast<int>(count), 0);
      if (sent > 0) bytes.remove_prefix(static_cast<std::size_t>(sent));
      if (sent < 0 && WSAGetLastError() != WSAEWOULDBLOCK) throw PeerGone{};
    }
  }

  void end() {
    const std::lock_guard lock(server.mutex_);
    ended = true;
    server.ended_.notify_all();
  }

  void closeOrderly() {
    shutdown(socket, 1);
    end();
    drain();
    closesocket(std::exchange(socket, INVALID_SOCKET));
  }

  void reset() { closeWithReset(std::exchange(socket, INVALID_SOCKET)); }

  ScriptedServer& server;
  const Script script;
  std::thread thread;
  SOCKET socket = INVALID_SOCKET;
  Clock::time_point deadline = Clock::time_point::max();  // Set when it is accepted.
  std::string received;
  std::size_t read = 0;
  bool ended = false;
};

bool Gate::wait() const {
  const auto deadline = Clock::now() + kScriptTimeLimit;
  while (!isOpen() && Clock::now() < deadline) tick();
  return isOpen();
}

Step expectRequest() {
  return [](ScriptedConnection& connection) { connection.expect(requestLength); };
}

Step expectBytes(std::size_t count) {
  return [=](ScriptedConnection& connection) {
    connection.expect([=](std::string_view bytes) { return bytes.size() < count ? 0 : count; });
  };
}

Step expectEnd() {
  return [](ScriptedConnection& connection) { connection.drain(); };
}

Step sendBytes(std::string bytes, std::vector<std::size_t> splits) {
  splits.push_back(bytes.size());
  return [=](ScriptedConnection& connection) {
    std::size_t from = 0;
    for (const std::size_t to : splits) {
      connection.sendAll(std::string_view(bytes).substr(from, to - from));
      from = to;
    }
  };
}

Step sendByteByByte(std::string bytes) {
  std::vector<std::size_t> splits;
  for (std::size_t i = 1; i < bytes.size(); ++i) splits.push_back(i);
  return sendBytes(std::move(bytes), std::move(splits));
}

Step waitFor(Gate gate) {
  return [=](ScriptedConnection& connection) {
    for (; !gate.isOpen(); tick()) {
      connection.checkTime();
      if (connection.stopping()) throw std::runtime_error("the gate was never opened");
    }
  };
}

Step opens(Gate gate) {
  return [=](ScriptedConnection&) mutable { gate.open(); };
}

Step closeOrderly() {
  return [](ScriptedConnection& connection) { connection.closeOrderly(); };
}

Step reset() {
  return [](ScriptedConnection& connection) { connection.reset(); };
}

Step hold() {
  return [](ScriptedConnection& connection) {
    connection.end();
    connection.drain();
  };
}

Step stopReading() {
  return [](ScriptedConnection& connection) {
    setOption(connection.socket, SOL_SOCKET, SO_RCVBUF, 4096);
    connection.end();
    while (!connection.stopping()) tick();
    connection.reset();
  };
}

Script reply(std::string bytes) {
  return {expectRequest(), sendBytes(std::move(bytes)), closeOrderly()};
}

ScriptedServer::ScriptedServer(std::vector<Script> scripts) {
  WSADATA data;
  WSAStartup(0x0101, &data);
  const SOCKET listener = socket(AF_INET, SOCK_STREAM, 0);
  listener_ = listener;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int length = sizeof address;
  auto* const name = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener, name, length) != 0 || listen(listener, 5) != 0 ||
      getsockname(listener, name, &length) != 0) {
    fail("the server cannot listen: " + std::to_string(WSAGetLastError()));
  }
  port_ = ntohs(address.sin_port);
  for (Script& script : scripts) {
    connections_.push_back(std::make_unique<ScriptedConnection>(*this, std::move(script)));
  }
  acceptor_ = std::thread([this] { acceptAll(); });
}

ScriptedServer::~ScriptedServer() {
  stopping_ = true;
  acceptor_.join();
  closesocket(static_cast<SOCKET>(listener_));
  for (std::size_t i = 0; i < accepted_ && i < connections_.size(); ++i) {
    connections_[i]->thread.join();
  }
  for (std::size_t i = accepted_; i < connections_.size(); ++i) {
    fail("connection " + std::to_string(i) + " never came");
  }
  WSACleanup();
  reportFailures();
}

void ScriptedServer::acceptAll() {
  const auto listener = static_cast<SOCKET>(listener_);
  for (bool last = false; !last;) {
    last = stopping_;  // Once more after that: a connection made before still gets its script.
    while (isReady(listener)) {
      const SOCKET accepted = accept(listener, nullptr, nullptr);
      if (accepted == INVALID_SOCKET) continue;
      const std::lock_guard lock(mutex_);
      const std::size_t number = accepted_++;
      if (number < connections_.size()) {
        ScriptedConnection& connection = *connections_[number];
        connection.socket = accepted;
        connection.deadline = Clock::now() + kScriptTimeLimit;
        connection.thread = std::thread([=, &connection] { connection.play(number); });
      } else {
        failures_.push_back("connection " + std::to_string(number) + " has no script");
        closeWithReset(accepted);
      }
    }
  }
}

std::string ScriptedServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::string ScriptedServer::request(std::size_t connection) {
  const ScriptedConnection& asked = *connections_.at(connection);
  std::unique_lock lock(mutex_);
  // A little more time than the script has, so that it can tell itself what went wrong.
  const auto limit = kScriptTimeLimit + std::chrono::seconds(1);
  if (!ended_.wait_for(lock, limit, [&] { return asked.ended; })) {
    failures_.push_back("connection " + std::to_string(connection) + " did not end in time");
  }
  std::string received = asked.received;
  lock.unlock();
  reportFailures();
  return received;
}

std::vector<std::string> ScriptedServer::requests() {
  std::vector<std::string> all;
  for (std::size_t i = 0; i < connections_.size(); ++i) all.push_back(request(i));
  return all;
}

std::size_t ScriptedServer::connections() const {
  const std::lock_guard lock(mutex_);
  return accepted_;
}

void ScriptedServer::fail(const std::string& text) {
  const std::lock_guard lock(mutex_);
  failures_.push_back(text);
}

void ScriptedServer::reportFailures() {
  const std::lock_guard lock(mutex_);
  for (const std::string& failure : failures_) ADD_FAILURE() << "ScriptedServer: " << failure;
  failures_.clear();
}

}  // namespace orla::test
