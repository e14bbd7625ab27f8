// The commands with replies and requests that are cut anywhere, and with hostile servers.
#include "platform/winapi.h"

#include <algorithm>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <latch>
#include <set>
#include <thread>
#include <tuple>

#include "client/CVekInet.h"
#include "support/FaultyPlatform.h"
#include "support/Server.h"
#include "support/TempDir.h"
#include "wire/Reply.h"

namespace orla::test {
namespace {

using namespace std::string_literals;
using testing::AnyOf;
using enum Reply::Kind;

const Reply kReplies[] = {
#include "wire/replies.inc"
};
const Reply kHostile[] = {
#include "wire/hostile.inc"
};

constexpr std::size_t kAll = std::string::npos;
/// The timeout of a stall, in milliseconds. A longer one would have the same result.
constexpr int kShort = 5;
/// Wine may report a reset as the end of the connection. The outcome is then that of an end.
constexpr bool kResetsShow = ORLA_RESETS_SHOW;

/// What the server does with one connection.
struct Play {
  std::string reply;
  Ending ending = kEnd;
  std::string repeated = {};     // Sent after the reply until the client closes the connection.
  std::size_t readFirst = kAll;  // Of the request, before the reply; kAll: the whole request.
  int timeout = 0;               // Of the client, in milliseconds; 0: the default.
};
const Play kGood{"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n1.2.3"};

/// Plays one connection, and returns the request. A stall lasts until `over`.
std::string serve(const Listener& listener, const Play& play, std::latch& over) {
  Connection client(listener);
  const std::string request = play.readFirst == kAll ? client.request() : "";
  const std::size_t first = play.readFirst == kAll ? 0 : play.readFirst;
  while (client.received.size() < first && client.receive(first - client.received.size())) continue;
  bool connected = client.sendAll(play.reply);
  while (connected && !play.repeated.empty()) connected = client.sendAll(play.repeated);
  const linger none{1, 0};
  const auto* const option = reinterpret_cast<const char*>(&none);
  if (play.ending == kReset) setsockopt(client.handle, SOL_SOCKET, SO_LINGER, option, sizeof none);
  if (play.ending == kStall) over.wait();
  if (play.ending == kEnd) client.end();
  return request;
}

enum Command { kVersion, kName, kUpload, kDownload };
constexpr Command kCommands[] = {kVersion, kName, kUpload, kDownload};

/// What the agent receives: the status, the thread's code, the library's message and the answer.
using Report = std::tuple<std::uint32_t, std::uint32_t, std::string, std::string>;

bool isVersion(const std::string& text) {
  int length = 0;
  std::sscanf(text.c_str(), "%*[0-9].%*[0-9].%*[0-9]%n", &length);
  return length != 0 && text.find_first_not_of("\r\n", static_cast<std::size_t>(length)) == kAll;
}

Report expected(Command command, const Outcome& outcome) {
  const auto& [code, message, body] = outcome;
  const bool done = code == 0;
  const std::string text = done ? "none" : message;
  switch (command) {
    case kVersion:
      if (code == 13 || (done && !isVersion(body))) return {4, 58, text, "0.0"};
      return {code, 77, text, done ? body.substr(0, body.rfind('.')) : "0.0"};
    case kName:
      return {code, 77, text, done ? body.c_str() : ""};
    case kUpload:
      return {code, 77, text, done ? body.c_str() + " 7"s : "pk 4294967295"};
    default:
      return {code == 46 ? 10 : code, 77, text, done ? body : "old"};
  }
}

void ORLA_CALL goOn(orla_progress_record*, const void*, std::uint32_t) {}

class Wire : public testing::Test {
 protected:
  Wire() {
    EXPECT_EQ(inet_.Initialize(0, nullptr), 0U);
    EXPECT_EQ(inet_.Connect(listener_.url("/wire").c_str(), "", 0, &handle_), 0U);
    folder_.write("package", "package");
  }
  ~Wire() override { EXPECT_EQ(faults::books().sockets, sockets_) << "an open connection"; }

  Report run(Command command) {
    const std::string package = folder_.path("package"), file = folder_.path("file");
    const char* const identity = "id";
    std::uint16_t major = 9, minor = 9;
    std::string name = "pk" + std::string(62, '\0'), answer;
    std::uint32_t status, size = 64, code = 0;
    orla_progress_record record = {};
    inet_.SetCode(77);
    inet_.SetMessage("none");
    switch (command) {
      case kVersion:
        status = inet_.GetVersion(handle_, &major, &minor);
        answer = std::to_string(major) + "." + std::to_string(minor);
        break;
      case kName:
        status = inet_.GetPackageName(handle_, 1, 1, &identity, name.data(), &size);
        answer = name.c_str();
        break;
      case kUpload:
        status = inet_.SendPackage(handle_, 1, 1, &identity, package.c_str(), name.data(), &size);
        answer = name.c_str() + (" " + std::to_string(size));
        break;
      default:
        folder_.write("file", "old");
        status = inet_.DownloadFile(handle_, "/f", file.c_str(), goOn, &record, nullptr);
        answer = folder_.read("file");
        EXPECT_THAT(folder_.names(), testing::ElementsAre("file", "package"));
    }
    inet_.LastError(&code);
    char message[ORLA_MESSAGE_SIZE];
    inet_.LastErrorMessage(message, sizeof message);
    return {status, code, message, answer};
  }

  /// Runs a command while the server plays. Stores the request.
  Report report(Command command, const Play& play) {
    std::latch over(1);
    std::thread server([&] { request_ = serve(listener_, play, over); });
    faults::shortenTimeouts(play.timeout);
    const Report report = run(command);
    faults::shortenTimeouts(0);
    faults::limitMemory(0);
    over.count_down();
    server.join();
    return report;
  }

  /// Plays `sent` bytes of a reply. After every fourth one the same command must succeed.
  void play(Command command, const Reply& reply, std::size_t sent, Ending ending = kEnd) {
    SCOPED_TRACE(reply.name + (", command " + std::to_string(command)) + ", sent " +
                 std::to_string(sent) + ", ending " + std::to_string(ending));
    const Outcome outcome = reply.outcome(sent, ending);
    const int timeout = ending == kStall && outcome.code == 4 ? kShort : 0;
    const Play part{reply.bytes().substr(0, sent), ending, reply.repeated, kAll, timeout};
    const Ending seen = ending == kReset && !kResetsShow ? kEnd : ending;
    EXPECT_THAT(report(command, part),
                AnyOf(expected(command, outcome), expected(command, reply.outcome(sent, seen))));
    if (command != kCommands[sent % 4]) return;
    EXPECT_EQ(report(command, kGood), expected(command, {0, "", "1.2.3"}));
  }

  const TempDir folder_;
  const Listener listener_;
  CVekInet inet_{nullptr};  // Its kernel objects have no names, so that no process shares them.
  std::uint32_t handle_ = 0;
  std::string request_;
  const int sockets_ = faults::books().sockets;
};

TEST_F(Wire, RepliesMayEndAnywhere) {
  for (const Reply& reply : kReplies)
    for (std::size_t sent = 0; sent <= reply.bytes().size(); ++sent)
      for (const Command command : kCommands) play(command, reply, sent);
}

TEST_F(Wire, RepliesMayBeResetAnywhere) {
  for (const Reply& reply : kReplies)
    for (std::size_t sent = 0; sent <= reply.bytes().size(); ++sent)
      for (const Command command : {kCommands[sent % 3], kDownload})
        play(command, reply, sent, kReset);
}

TEST_F(Wire, RepliesMayStallInAnyPart) {
  for (const Reply& reply : kReplies)
    for (std::size_t sent = 0; sent <= reply.bytes().size(); sent += 3)
      play(kCommands[sent % 4], reply, sent, kStall);
}

TEST_F(Wire, HostileServersCannotFillTheMemory) {
  int turn = 0;
  for (const Reply& reply : kHostile)
    for (const Command command : {kCommands[++turn % 3], kDownload}) {
      // A download would fill the disk. The other commands hold the body in memory, which must not
      // fill.
      if (command == kDownload && reply.message == "[NOMEM] No memory") continue;
      faults::limitMemory(64U << 20);
      play(command, reply, reply.bytes().size());
    }
}

TEST_F(Wire, RequestsMayBeCutAnywhere) {
  std::string stalled = "recv";
  const auto cut = [&](Command command, std::size_t read, Ending ending) {
    SCOPED_TRACE("command " + std::to_string(command) + ", read " + std::to_string(read));
    const Report got = report(command, {"", ending, "", read, ending == kStall ? kShort : 0});
    const std::string& message = std::get<2>(got);
    EXPECT_EQ(got, expected(command, {4, message, ""}));
    std::set<std::string> allowed = {"RWReplyError: Connection closed by server"};
    if (ending == kStall)  // In send() if the request is larger than the buffers of the sockets.
      allowed = {"RWSocketError: in RWSocket::" + stalled + ": TIMEDOUT"};
    if (ending == kClose || ending == kReset)  // Any call of the connection may report it.
      allowed.insert({"RWHttpConnectionError: Connection lost or not established",
                      "RWSocketError: in RWSocket::recv: CONNRESET",
                      "RWSocketError: in RWSocket::send: CONNRESET"});
    EXPECT_THAT(allowed, testing::Contains(message)) << "ending " << ending;
  };
  for (const Command command : kCommands) {
    report(command, kGood);
    for (std::size_t read = 0, size = request_.size(); read < size; ++read) {
      for (const Ending ending : {kEnd, kClose, kReset}) cut(command, read, ending);
      if (read % 9 == 0) cut(command, read, kStall);
      EXPECT_EQ(report(command, kGood), expected(command, {0, "", "1.2.3"}));
    }
  }
  // Larger than the buffers of the sockets.
  folder_.write("package", std::string(20000000, 'p'));
  stalled = "send";
  for (const std::size_t read : {0, 1, 200, 70000, 2000000})
    for (const Ending ending : {kEnd, kClose, kReset, kStall}) cut(kUpload, read, ending);
}

}  // namespace
}  // namespace orla::test
