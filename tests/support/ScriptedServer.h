// An HTTP server for tests, on a free port of 127.0.0.1, that plays one script per connection:
//
//   ScriptedServer server{reply("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi")};
//   Gate gate;
//   ScriptedServer two{{expectRequest(), waitFor(gate), reset()}, reply("HTTP/1.1 204 X\r\n\r\n")};
//
// The first connection gets the first script, and so on; each is served in a thread of its own.
// A script has kScriptTimeLimit from its connection on. What goes wrong fails the test, from the
// test's thread, in request(), requests() and the destructor: a step that does not find what it
// expects, a script that is late or never gets its connection, a connection without a script.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace orla::test {

inline constexpr std::chrono::seconds kScriptTimeLimit{20};

class ScriptedConnection;
using Step = std::function<void(ScriptedConnection&)>;
/// A script that runs out of steps ends as with closeOrderly().
using Script = std::vector<Step>;

/// A hand-shake between the test and a script. Copies are the same gate; it opens once, for good.
class Gate {
 public:
  void open() { *open_ = true; }
  bool isOpen() const { return *open_; }
  /// False when the gate does not open within kScriptTimeLimit.
  [[nodiscard]] bool wait() const;

 private:
  std::shared_ptr<std::atomic<bool>> open_ = std::make_shared<std::atomic<bool>>(false);
};

/// Reads a request: the head and, announced by Content-Length or chunked framing, the body.
Step expectRequest();
/// Reads `count` bytes more.
Step expectBytes(std::size_t count);
/// Reads until the peer closes or resets the connection.
Step expectEnd();
/// Sends `bytes` in pieces that end at the ascending offsets `splits`. A peer that is gone ends the
/// script without a failure: clients hang up on replies that they refuse.
Step sendBytes(std::string bytes, std::vector<std::size_t> splits = {});
Step sendByteByByte(std::string bytes);
/// Pauses until the test opens the gate.
Step waitFor(Gate gate);
/// Opens the gate for the test, which wait()s for it.
Step opens(Gate gate);

// The last steps. For request() and requests() the script has ended when one of them begins.

/// Ends the sending side, then reads until the peer closes, so that it sees an end and no reset.
Step closeOrderly();
/// A peer under Wine learns of it surely only while it waits in a receive: one that comes earlier
/// may look like an orderly end. Let it read what was sent before, with a Gate in between.
Step reset();
/// Keeps the connection open, reading, until the peer closes it or the server ends.
Step hold();
/// Keeps the connection open, its receive buffer small and unread, until the server ends.
Step stopReading();

/// The common case: one request, one reply, orderly close.
Script reply(std::string bytes);

class ScriptedServer {
 public:
  ScriptedServer(std::initializer_list<Script> scripts)
      : ScriptedServer(std::vector<Script>(scripts)) {}
  explicit ScriptedServer(std::vector<Script> scripts);
  /// Ends hold() and stopReading(), lets the other steps finish, and joins every thread.
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  int port() const { return port_; }
  /// The URL of `path`, which begins with "/".
  std::string url(const std::string& path) const;

  /// The exact bytes received on a connection, once its script has ended.
  std::string request(std::size_t connection = 0);
  /// Those of every connection, once every script has ended.
  std::vector<std::string> requests();
  /// How many connections were accepted so far: all that a request() was asked for, at least.
  std::size_t connections() const;

 private:
  friend class ScriptedConnection;

  void acceptAll();
  void fail(const std::string& text);
  void reportFailures();

  std::uintptr_t listener_;
  int port_ = 0;
  std::atomic<bool> stopping_{false};
  mutable std::mutex mutex_;  // Guards what follows, and what the connections received.
  std::condition_variable ended_;
  std::size_t accepted_ = 0;
  std::vector<std::string> failures_;
  std::vector<std::unique_ptr<ScriptedConnection>> connections_;
  std::thread acceptor_;
};

}  // namespace orla::test
