// Fails each call that an operation makes of the platform layer, and each allocation, one after the
// other.
#include "platform/winapi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "faults/FaultRun.h"
#include "net/RWInetAddr.h"
#include "net/RWNetErrors.h"
#include "net/RWSocket.h"
#include "net/RWWinsockStartup.h"

namespace orla::test {
namespace {

using faults::Kind;
using enum Kind;
using faults::Way;

/// A way in which calls fail, and the name of the error in messages.
struct Failure {
  const char* name;
  Kind kind;
  Way way;
  std::uint32_t code;
  const char* error;
};
constexpr Failure kFailures[] = {
    {"reset", kSocket, Way::kFail, WSAECONNRESET, "CONNRESET"},
    {"interrupted", kSocket, Way::kFail, WSAEINTR, "INTR"},
    {"would block", kSocket, Way::kFail, WSAEWOULDBLOCK, "WOULDBLOCK"},
    {"short transfer", kSocket, Way::kShort, 0, ""},
    {"file refused", kFile, Way::kFail, ERROR_ACCESS_DENIED, ""},
    {"short file", kFile, Way::kShort, 0, ""},
    {"guard refused", kSharedObject, Way::kFail, ERROR_INVALID_HANDLE, "6"},
    {"lock refused", kPrivateObject, Way::kFail, ERROR_INVALID_HANDLE, "6"},
    {"poll fails", kPoll, Way::kFail, ERROR_INVALID_HANDLE, "6"},
    {"no memory", kMemory, Way::kFail, ERROR_NOT_ENOUGH_MEMORY, "8"}};

// The outcomes. In a message, "%call" is the call that failed and "%error" its error.
const Outcome kSucceeds{0, ""};
const Outcome kGuardThrows{1, "", true};
const Outcome kRefused{1, ""};
const Outcome kNotReplaced{9, ""};
const Outcome kTooLarge{11, ""};
const Outcome kShortRead{24, ""};
const Outcome kNotWritten{1, "Transport internal error"};
const Outcome kSocketFails{4, "RWSocketError: in RWSocket::%call: %error"};
const Outcome kNotConnecting{4, "RWSocketError: in RWSocket::setsockopt: NOTSOCK"};
const Outcome kNotConnected{4, "RWHttpConnectionError: Connection lost or not established"};
const Outcome kNotSent{4, "RWNetCantSendError: failed to send data into communications channel"};
const Outcome kNoReply{4, "RWReplyError: Connection closed by server"};
const Outcome kPartOfBody{4, "RWHttpHandlerError: The body was not completely consumed"};
const Outcome kNoLock{4, "RWMutexLock::init - CreateMutex() - Error Code: %error"};
const Outcome kNotAcquired{4, "RWMutexLock::acquire - WaitForSingleObject() - Error Code: %error"};
const Outcome kNotReleased{4, "RWMutexLock::release - ReleaseMutex() - Error Code: %error"};
const Outcome kNotClosed{4, "RWMutexLock::~RWMutexLock - CloseHandle() - Error Code: %error"};
const Outcome kMemoryRunsOut{4, "[NOMEM] No memory"};

/// The same outcome, with the names in its message replaced.
Outcome outcomeAfter(Outcome outcome, const std::string& call, const std::string& error) {
  for (const auto& [name, value] : {std::pair("%call", call), std::pair("%error", error)})
    if (const std::size_t at = outcome.message.find(name); at != std::string::npos)
      outcome.message.replace(at, std::string(name).size(), value);
  return outcome;
}

/// How an operation may end when one of its calls fails in one way.
struct Allowed {
  std::vector<Outcome> outcomes;
  /// The calls whose failure is no failure of the operation, which then succeeds. No other failure
  /// may be ignored, unless success is among the outcomes.
  std::set<std::string> ignored = {};
};

/// An operation, and what it may come to in each way of failing. In a way that is missing here the
/// operation makes no call that could fail.
struct Row {
  Operation operation;
  std::map<std::string, Allowed> allowed;
};

void PrintTo(const Row& row, std::ostream* out) {
  *out << row.operation.name;
}

std::vector<Row> rows() {
  const std::vector<Outcome> brokenSocket = {kSocketFails, kNotConnected};
  // The agent is not to wait for a socket that would block: to the library it is a broken one.
  const Allowed blocked = {
      {kSocketFails, kNotConnecting, kNotConnected, kNotSent, kNoReply, kPartOfBody},
      {"closesocket"}};
  const Allowed ignoreStart = {{}, {"WSAStartup"}}, ignoreStop = {{}, {"WSACleanup"}};
  const Allowed succeeds = {{kSucceeds}};
  // The guard is released when the operation is done, so that no failure of that changes its result.
  const std::set<std::string> release = {"ReleaseMutex", "ReleaseSemaphore", "SetEvent",
                                         "ResetEvent", "WaitForMultipleObjects"};
  const Allowed guardedTable = {{kGuardThrows}, {"ReleaseMutex"}};
  const Allowed lock = {{kNoLock, kNotAcquired, kNotReleased, kNotClosed}};
  const std::vector<Outcome> noMemory = {kMemoryRunsOut, kNoLock};

  // What every command has in common.
  const std::map<std::string, Allowed> command = {{"reset", {brokenSocket}},
                                                  {"interrupted", {brokenSocket}},
                                                  {"would block", blocked},
                                                  {"short transfer", succeeds},
                                                  {"guard refused", {{kRefused}, release}},
                                                  {"lock refused", lock},
                                                  {"poll fails", succeeds},
                                                  {"no memory", {noMemory}}};
  std::map<std::string, Allowed> send = command, download = command;
  send["file refused"] = {{kRefused, kTooLarge, kShortRead}, {"CloseHandle"}};
  send["short file"] = succeeds;
  send["no memory"].outcomes.insert(send["no memory"].outcomes.end(), {kRefused, kTooLarge});
  // A file system that cannot flush a file has not lost anything. A loss has codes of its own.
  download["file refused"] = {{kNotWritten, kNotReplaced}, {"FlushFileBuffers"}};
  download["short file"] = {{kNotWritten, kSucceeds}};
  download["no memory"].outcomes.insert(download["no memory"].outcomes.end(),
                                        {kRefused, kNotWritten});

  return {{kLoad,
           {{"reset", ignoreStart},
            {"interrupted", ignoreStart},
            {"would block", ignoreStart},
            {"short transfer", succeeds},
            {"guard refused", {{kGuardThrows}}},
            {"no memory", {{kGuardThrows, kSucceeds}}}}},
          {kUnload,
           {{"reset", ignoreStop},
            {"interrupted", ignoreStop},
            {"would block", ignoreStop},
            {"short transfer", succeeds},
            {"guard refused", succeeds}}},
          {kInitialize, {}},
          {kConnect, {{"guard refused", guardedTable}, {"no memory", {{kRefused}}}}},
          {kDisconnect, {{"guard refused", guardedTable}}},
          {kCleanUp, {{"guard refused", guardedTable}}},
          {kVersion, command},
          {kName, command},
          {kSend, send},
          {kDownload, download}};
}

/// Checks what remains in the directory.
void expectFiles(const Ending& ending) {
  // The old file is deleted before the new one can take its place.
  const bool lost = ending.failedCall == "MoveFileA" && !ending.isSuccess();
  EXPECT_EQ(ending.names.count("old"), lost ? 0U : 1U);
  // A temporary file that cannot be opened may be in use by another process, so it is left.
  const bool opened = ending.outcome != kNotWritten || ending.failedCall == "WriteFile";
  EXPECT_LE(ending.temporaryFiles(), opened ? 0U : 1U);
}

class FailEveryCall : public testing::TestWithParam<Row> {
 protected:
  FaultRun run_;
};

TEST_P(FailEveryCall, EndsInAnAllowedOutcomeAndLeavesNothingOpen) {
  for (const Failure& failure : kFailures) {
    SCOPED_TRACE(failure.name);
    const auto found = GetParam().allowed.find(failure.name);
    const Allowed allowed = found == GetParam().allowed.end() ? Allowed{} : found->second;
    run_.failEach(GetParam().operation, {failure.kind, 0, failure.way, failure.code},
                  [&](const Ending& ending) {
                    expectFiles(ending);
                    if (ending.isSuccess() && allowed.ignored.contains(ending.failedCall)) return;
                    std::vector<Outcome> outcomes;
                    for (const Outcome& outcome : allowed.outcomes)
                      outcomes.push_back(outcomeAfter(outcome, ending.failedCall, failure.error));
                    EXPECT_THAT(outcomes, testing::Contains(ending.outcome));
                  });
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, FailEveryCall, testing::ValuesIn(rows()),
                         [](const auto& row) { return std::string(row.param.operation.name); });

// The number of allocations is what a small command costs beside its system calls.
TEST(Allocations, AreFewInACommand) {
  const std::pair<Operation, std::size_t> limits[] = {
      {kConnect, 5}, {kVersion, 19}, {kName, 20}, {kSend, 29}, {kDownload, 21}};
  FaultRun run;
  for (const auto& [operation, most] : limits) {
    SCOPED_TRACE(operation.name);
    const auto ignore = [](const Ending&) {};
    EXPECT_LE(run.failEach(operation, {kMemory, 0}, ignore).size(), most);
  }
}

TEST(Allocations, HoldABodyAtMostOnce) {
  constexpr std::size_t kBuffers = 256 * 1024 + 2 * 64 * 1024;  // Pieces of files, and of requests.
  constexpr std::size_t kBody = 2000000;
  const std::pair<Operation, std::size_t> rows[] = {{kSend, kBody + kBuffers},
                                                    {kDownload, kBuffers}};
  FaultRun run;
  Agent agent(run.server());
  agent.writePackage(std::string(kBody, 'p'));
  agent.run(&Agent::use);
  agent.run(&Agent::send);
  EXPECT_EQ(agent.outcome(), kSucceeds);
  for (const auto& [operation, bytes] : rows) {
    SCOPED_TRACE(operation.name);
    faults::limitMemory(bytes);
    agent.run(operation.run);
    faults::limitMemory(0);
    EXPECT_EQ(agent.outcome(), kSucceeds);

    faults::limitMemory(bytes / 2);
    agent.run(operation.run);
    faults::limitMemory(0);
    EXPECT_NE(agent.outcome(), kSucceeds);
  }
}

// A system that reports a failure may leave no error code behind.
TEST(RWSocket, ReportsABindThatFailsWithoutACode) {
  const RWWinsockStartup winsock;
  const char* failedCall = nullptr;
  RWSocket socket;
  {
    const faults::Injection injection({.kind = kSocket, .call = 2}, &failedCall);
    EXPECT_THROW(socket.bind(RWInetAddr("127.0.0.1:0")), RWSocketError);
  }
  EXPECT_STREQ(failedCall, "bind");
  EXPECT_FALSE(socket.isValid());
}

}  // namespace
}  // namespace orla::test
