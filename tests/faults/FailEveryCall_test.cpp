// Fails each call that an operation makes of the system, and each allocation, one after the other.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "client/CVekExceptionImp.h"
#include "client/Library.h"
#include "support/CommandServer.h"
#include "support/FaultyPlatform.h"
#include "support/TempDir.h"

namespace orla {
namespace {

using faults::Kind;
using faults::Way;

const std::string kPackage(200000, 'p');

void ORLA_CALL ignoreProgress(orla_progress_record*, const void*, std::uint32_t) {}

/// A loaded library with one connection, a package to send, and an old file to replace.
struct Agent {
  explicit Agent(std::string server) : url(std::move(server)) {}

  void load() { library.emplace(nullptr); }
  void unload() { library.reset(); }
  std::uint32_t initialise() { return library->inet().Initialize(0, nullptr); }
  std::uint32_t connect() { return library->inet().Connect(url.c_str(), "", 0, &handle); }
  std::uint32_t disconnect() { return library->inet().Disconnect(handle); }
  std::uint32_t cleanUp() { return library->inet().Cleanup(); }
  std::uint32_t version() {
    std::uint16_t major, minor;
    return library->inet().GetVersion(handle, &major, &minor);
  }
  std::uint32_t name() {
    char text[100];
    std::uint32_t size = sizeof text;
    return library->inet().GetPackageName(handle, 1, 1, &kId, text, &size);
  }
  std::uint32_t send() {
    char text[100] = "p";
    std::uint32_t size = sizeof text;
    return library->inet().SendPackage(handle, 1, 1, &kId, package.c_str(), text, &size);
  }
  std::uint32_t download() {
    orla_progress_record record;
    return library->inet().DownloadFile(handle, "/p", old.c_str(), ignoreProgress, &record, "1");
  }
  // These two show what they did by what the library can do afterwards.
  std::uint32_t loadIt() { return load(), 0; }
  std::uint32_t unloadIt() { return unload(), 0; }
  std::uint32_t useIt() { return library->inet().SetCode(77), initialise(), connect(), version(); }

  const std::string url;
  const test::TempDir folder;
  const std::string package = folder.write("package", kPackage), old = folder.write("old", "old");
  const char* const kId = "id";
  std::optional<Library> library;
  std::uint32_t handle = 0;
};

/// The status, the code when it was touched, and the message.
std::string outcome(CVekInet& inet, std::uint32_t status) {
  char text[ORLA_MESSAGE_SIZE];
  std::uint32_t code;
  inet.LastErrorMessage(text, sizeof text);
  inet.LastError(&code);
  return std::to_string(status) + (code == 77 ? "" : " code " + std::to_string(code)) + " " + text;
}

/// One letter for each outcome; %1: the error's name or number.
const std::map<std::string, std::string> kLetters = {
    {"0 ", "."},
    {"1 ", "1"},
    {"raised 1", "x"},
    {"9 ", "9"},
    {"11 ", "b"},
    {"24 ", "t"},
    {"1 Transport internal error", "T"},
    {"4 RWSocketError: in RWSocket::socket: %1", "S"},
    {"4 RWSocketError: in RWSocket::connect: %1", "C"},
    {"4 RWSocketError: in RWSocket::setsockopt: %1", "O"},
    {"4 RWSocketError: in RWSocket::setsockopt: NOTSOCK", "N"},
    {"4 RWHttpConnectionError: Connection lost or not established", "L"},
    {"4 RWSocketError: in RWSocket::send: %1", "W"},
    {"4 RWNetCantSendError: failed to send data into communications channel", "w"},
    {"4 RWSocketError: in RWSocket::recv: %1", "R"},
    {"4 RWReplyError: Connection closed by server", "e"},
    {"4 RWHttpHandlerError: The body was not completely consumed", "u"},
    {"4 RWSocketError: in RWSocket::closesocket: %1", "K"},
    {"4 RWMutexLock::init - CreateMutex() - Error Code: %1", "i"},
    {"4 RWMutexLock::acquire - WaitForSingleObject() - Error Code: %1", "a"},
    {"4 RWMutexLock::release - ReleaseMutex() - Error Code: %1", "r"},
    {"4 RWMutexLock::~RWMutexLock - CloseHandle() - Error Code: %1", "c"},
    {"4 RWMutexLock::init - CreateMutex() - Error Code: 8", "m"},
    {"4 [NOMEM] No memory", "m"}};

/// The ways in which calls fail, and the name that messages give the error.
const struct Failure {
  const char* name;
  faults::Kind kind;
  faults::Way way;
  std::uint32_t code;
} kFailures[] = {{"CONNRESET", Kind::Socket, Way::Fail, WSAECONNRESET},
                 {"INTR", Kind::Socket, Way::Fail, WSAEINTR},
                 {"WOULDBLOCK", Kind::Socket, Way::Fail, WSAEWOULDBLOCK},
                 {"short transfer", Kind::Socket, Way::Short, 0},
                 {"file refused", Kind::File, Way::Fail, ERROR_ACCESS_DENIED},
                 {"short file", Kind::File, Way::Short, 0},
                 {"6", Kind::Kernel, Way::Fail, ERROR_INVALID_HANDLE},
                 {"8", Kind::Memory, Way::Fail, ERROR_NOT_ENOUGH_MEMORY}};

class FailEveryCall : public testing::Test {
 protected:
  test::CommandServer& server_ = *new test::CommandServer;  // It lasts until the program ends.
  Agent agent_{server_.url("1.2.3")};

  FailEveryCall() {  // What the first use of the network keeps for ever is not counted.
    agent_.load();
    agent_.useIt();
    agent_.unload();
  }

  using Operation = std::uint32_t (Agent::*)();

  /// Runs the operation with its first call failing, its second, and so on until none fails: a
  /// letter for each run.
  std::string lettersOf(Operation operation, const Failure& failure) {
    std::string letters;
    for (int call = 1;; ++call) {
      const faults::Books before = faults::books();
      bool struck = false;
      const std::string letter = run(operation, failure, call, &struck);
      const faults::Books after = faults::books();
      letters += letter;
      EXPECT_TRUE(after == before)
          << "call " << call << " left " << after.sockets - before.sockets << " sockets, "
          << after.handles - before.handles << " handles, " << after.locks - before.locks
          << " locks, " << after.blocks - before.blocks << " blocks of memory";
      if (!struck || HasFailure()) return letters;
    }
  }

 private:
  std::string run(Operation operation, const Failure& failure, int call, bool* struck) {
    if (operation != &Agent::loadIt) {
      agent_.load();
      agent_.initialise();
      agent_.connect();
      agent_.send();  // What is downloaded.
      agent_.library->inet().SetCode(77);
      agent_.library->inet().SetMessage("");
    }
    // So that a connection is made, and not used again.
    if (operation == &Agent::connect) agent_.cleanUp(), agent_.initialise();

    std::string result, where;
    std::uint32_t status = 0;
    try {
      {
        const faults::Injection fault({failure.kind, call, failure.way, failure.code}, &where);
        status = (agent_.*operation)();
      }
      if (!agent_.library) agent_.load();
      if (operation == &Agent::loadIt || operation == &Agent::unloadIt) status = agent_.useIt();
      result = outcome(agent_.library->inet(), status);
    } catch (const CVekExceptionImp& error) {
      result = "raised " + std::to_string(error.GetErrorCode());
    }
    *struck = !where.empty();
    checkFolder(operation, where, result);
    if (operation == &Agent::loadIt) agent_.unload(), agent_.load();
    if (operation == &Agent::loadIt || operation == &Agent::unloadIt) operation = &Agent::useIt;
    EXPECT_EQ((agent_.*operation)(), 0U) << "the next time, after " << where;
    agent_.unload();
    agent_.folder.write("old", "old");

    const std::size_t name = result.rfind(failure.name);
    if (!kLetters.contains(result) && name != result.npos) result.replace(name, 99, "%1");
    const auto letter = kLetters.find(result);
    return letter == kLetters.end() ? "<" + where + ": " + result + ">" : letter->second;
  }

  /// The old file is whole or replaced by a whole one, and there is nothing else, but for what the
  /// system did not let be put right.
  void checkFolder(Operation operation, const std::string& where, const std::string& result) {
    std::set<std::string> expected = {"old", "package"}, found = agent_.folder.names();
    // The old file is deleted before the new one can take its place.
    if (where == "MoveFileA" && result != "0 ")
      expected.erase("old");
    else
      EXPECT_TRUE(agent_.folder.read("old") ==
                  (operation == &Agent::download && result == "0 " ? kPackage : "old"));
    // What cannot be opened may be somebody else's by now: it stays.
    if (operation == &Agent::download && result.starts_with("1 T") && where != "WriteFile")
      std::erase_if(found, [&](const std::string& file) {
        return file.starts_with("$Ve") && std::filesystem::remove(agent_.folder.path(file));
      });
    EXPECT_EQ(found, expected) << where;
  }
};

TEST_F(FailEveryCall, EndsAsItMustAndLeavesNothing) {
  // Regular expressions: as many pieces of a body as come. The last run is the one that nothing struck.
#define OF_A_COMMAND "1.......iarararc."
  const struct {
    const char* name;
    Operation operation;
    const char* letters[std::size(kFailures)];
    std::size_t allocations;  // At most.
  } cases[] = {{"load", &Agent::loadIt, {"..", "..", "..", "..", ".", ".", "xxx.", "x*.."}, 4},
               {"unload", &Agent::unloadIt, {"..", "..", "..", "..", ".", ".", "......", "."}, 0},
               {"initialise", &Agent::initialise, {".", ".", ".", ".", ".", ".", ".", "."}, 0},
               {"connect", &Agent::connect, {".", ".", ".", ".", ".", ".", "x.x..", "1+."}, 4},
               {"disconnect", &Agent::disconnect, {".", ".", ".", ".", ".", ".", "x..", "."}, 0},
               {"clean up", &Agent::cleanUp, {".", ".", ".", ".", ".", ".", "x..", "."}, 0},
               {"version",
                &Agent::version,
                {"SCOOLWR+K.", "SCOOLWR+K.", "SNOOLwe..", ".+", ".", ".", OF_A_COMMAND, "m+."},
                19},
               {"name",
                &Agent::name,
                {"SCOOLWR+K.", "SCOOLWR+K.", "SNOOLwe..", ".+", ".", ".", OF_A_COMMAND, "m+."},
                20},
               {"send",
                &Agent::send,
                {"SCOOOLW+R+K.", "SCOOOLW+R+K.", "SNOOOLw+e..", ".+", "1bt..", ".....",
                 OF_A_COMMAND, "1?b+m+."},
                29},
               {"download",
                &Agent::download,
                {"SCOOLWR+K.", "SCOOLWR+K.", "SNOOLweu+..", ".+", "TTT+999.", "..T+....",
                 OF_A_COMMAND, "T?m+."},
                21}};
  for (const auto& [name, operation, letters, allocations] : cases) {
    for (std::size_t i = 0; i < std::size(kFailures); ++i) {
      SCOPED_TRACE(std::string(name) + ": " + kFailures[i].name);
      std::string expected = letters[i];  // A dot is a dot.
      for (std::size_t at = 0; (at = expected.find('.', at)) != expected.npos; at += 2)
        expected.insert(at, 1, '\\');
      const std::string found = lettersOf(operation, kFailures[i]);
      EXPECT_THAT(found, testing::MatchesRegex(expected));
      EXPECT_TRUE(kFailures[i].kind != Kind::Memory || found.size() <= allocations + 1) << found;
    }
  }
}

TEST_F(FailEveryCall, HoldsABodyOnce) {
  constexpr std::size_t kBuffers = 256 * 1024 + 2 * 64 * 1024;  // Pieces of files, and of requests.
  constexpr std::size_t kBody = 2000000;
  const std::pair<Operation, std::size_t> rows[] = {{&Agent::send, kBody + kBuffers},
                                                    {&Agent::download, kBuffers}};
  agent_.folder.write("package", std::string(kBody, 'p'));
  agent_.load();
  agent_.useIt();
  EXPECT_EQ(agent_.send(), 0U);
  for (const auto& [operation, bytes] : rows) {
    for (const bool isEnough : {true, false}) {
      faults::limitMemory(isEnough ? bytes : bytes / 2);
      EXPECT_EQ((agent_.*operation)() == 0, isEnough) << bytes;
      faults::limitMemory(0);
    }
  }
  agent_.unload();
}

}  // namespace
}  // namespace orla
