// An HTTP server for tests, on a free port of 127.0.0.1, that plays one script per connection.
// The first connection gets the first script, and so on, each in a thread of its own; further ones
// are refused. A step that fails or waits too long, and a script without its connection, fail the
// test.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace orla::test {

inline constexpr std::chrono::seconds kTimeLimit{20};

/// Starts Winsock, and listens on a free port of 127.0.0.1.
std::uintptr_t listenOnLoopback(int& port);

/// The length of the request that `bytes` begin with, its body announced by "Content-Length: "; 0
/// while it is incomplete.
std::size_t requestLength(std::string_view bytes);

class ScriptedConnection;
using Step = std::function<void(ScriptedConnection&)>;
/// At its end the server closes its side and reads until the peer closes, who sees no reset.
using Script = std::vector<Step>;

/// A hand-shake with a script. Copies are the same gate; it opens once.
class Gate {
 public:
  void open() { opening_->set_value(); }
  [[nodiscard]] bool wait() const {
    return opened_.wait_for(kTimeLimit) == std::future_status::ready;
  }

 private:
  std::shared_ptr<std::promise<void>> opening_ = std::make_shared<std::promise<void>>();
  std::shared_future<void> opened_ = opening_->get_future().share();
};

/// Reads a request: the head and a body announced by "Content-Length: ".
Step expectRequest();
/// To a peer that is gone, nothing: clients hang up on replies that they refuse.
Step sendBytes(std::string bytes);
Step waitFor(Gate gate);
Step opens(Gate gate);

Script reply(std::string bytes);

class ScriptedServer {
 public:
  ScriptedServer(std::initializer_list<Script> scripts)
      : ScriptedServer(std::vector<Script>(scripts)) {}
  explicit ScriptedServer(std::vector<Script> scripts);
  ~ScriptedServer();

  int port() const { return port_; }
  std::string url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
  }
  /// The bytes received on a connection, once its script has ended.
  std::string request(std::size_t connection = 0) const;

 private:
  void acceptAll();

  int port_ = 0;
  std::uintptr_t listener_;
  std::atomic<bool> stopping_{false};
  std::vector<std::unique_ptr<ScriptedConnection>> connections_;
  std::thread acceptor_;
};

}  // namespace orla::test
