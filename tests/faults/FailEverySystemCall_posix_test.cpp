// Fails each system call beneath the platform layer, one after the other, with several errors.
#include <algorithm>
#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "faults/FaultRun.h"

namespace orla::test {
namespace {

using faults::Kind;
using faults::Way;
using Calls = std::set<std::string>;

// The outcomes, with the class of the message: what precedes its first colon.
const Outcome kGuardThrows{1, "", true};
const Outcome kRefused{1, ""};
const Outcome kNotReplaced{9, ""};
const Outcome kTooLarge{11, ""};
const Outcome kShortRead{24, ""};
const Outcome kNotWritten{1, "Transport internal error"};
const Outcome kSocketFails{4, "RWSocketError"};
const Outcome kNotConnected{4, "RWHttpConnectionError"};
const Outcome kNoReply{4, "RWReplyError"};
const Outcome kPartOfBody{4, "RWHttpHandlerError"};

Outcome classOf(Outcome outcome) {
  outcome.message.resize(std::min(outcome.message.find(':'), outcome.message.size()));
  return outcome;
}

const struct {
  const char* name;
  int code;
} kErrors[] = {{"EIO", EIO},       {"ENOSPC", ENOSPC}, {"EPERM", EPERM},  {"EACCES", EACCES},
               {"ENOLCK", ENOLCK}, {"EMFILE", EMFILE}, {"ENOMEM", ENOMEM}};

/// Without these calls a command has not done its work: it must not succeed if one of them fails.
const Calls kNeeded = {"socket",  "connect", "setsockopt", "sendto",
                       "recvmsg", "write",   "read",       "close of a written file"};

/// Whether a successful operation may have ignored that `call` failed with `error`.
bool mayIgnore(const std::string& call, int error) {
  // Errors other than these two show that the file system cannot synchronize, not that it lost data.
  if (call == "fdatasync") return error != EIO && error != ENOSPC;
  return !kNeeded.contains(call);
}

/// Checks what remains in the directory.
void expectFiles(const Ending& ending) {
  const Calls moves = {"renameat2", "link", "rename"};
  // Of a file whose deletion fails, at least the name remains.
  const Calls openings = {"open", "fcntl", "fstat", "stat", "lstat", "pread", "unlink"};
  // The old file is deleted before the new one can take its place.
  const bool mayBeLost = moves.contains(ending.failedCall) && !ending.isSuccess();
  EXPECT_GE(ending.names.count("old"), mayBeLost ? 0U : 1U);
  // A temporary file that cannot be opened may be in use by another process, so it is left.
  const bool mayBeLeft =
      classOf(ending.outcome) == kNotWritten && openings.contains(ending.failedCall);
  EXPECT_LE(ending.temporaryFiles(), mayBeLeft ? 1U : 0U);
}

struct Row {
  Operation operation;
  std::vector<Outcome> failures;
  /// Calls that the operation makes. They show that the calls of the library come through.
  Calls seen;
};

void PrintTo(const Row& row, std::ostream* out) {
  *out << row.operation.name;
}

std::vector<Row> rows() {
  const std::vector<Outcome> command = {kSocketFails, kNotConnected, kNoReply, kPartOfBody};
  std::vector<Outcome> send = command, download = command;
  send.insert(send.end(), {kRefused, kTooLarge, kShortRead});
  download.insert(download.end(), {kNotWritten, kNotReplaced});
  return {{kLoad, {kGuardThrows}, {"open", "fcntl", "fstat", "mmap"}},
          {kUnload, {kGuardThrows}, {"open", "fcntl", "fstat", "munmap", "close", "unlink"}},
          {kConnect, {}, {}},
          {kVersion, command, {"socket", "connect", "sendto", "recvmsg", "close"}},
          {kName, command, {"socket", "connect", "sendto", "recvmsg", "close"}},
          {kSend, send, {"open", "read", "socket", "connect", "sendto", "recvmsg", "close"}},
          {kDownload, download, {"open", "write", "close of a written file", "unlink", "connect"}}};
}

class FailEverySystemCall : public testing::TestWithParam<Row> {
 protected:
  FaultRun run_;
};

TEST_P(FailEverySystemCall, EndsInAnAllowedOutcomeAndLeavesNothingOpen) {
  const auto& [operation, failures, expectedCalls] = GetParam();
  // Without the file of shared kernel objects the library has private ones, and works. Once it shares
  // the file, an object that it cannot lock there must not become private, because another process
  // may use the shared one: then every operation on the connections fails.
  const Calls mayThrow = {"fcntl", "fstat"};
  Calls seen;
  for (const auto& [name, code] : kErrors) {
    SCOPED_TRACE(name);
    const faults::Fault fault{Kind::kSystem, 0, Way::kFail, static_cast<std::uint32_t>(code)};
    const auto calls = run_.failEach(operation, fault, [&, code = code](const Ending& ending) {
      expectFiles(ending);
      EXPECT_LE(ending.outcome.thrown, mayThrow.contains(ending.failedCall));
      if (ending.isSuccess()) {
        EXPECT_TRUE(mayIgnore(ending.failedCall, code));
      } else {
        EXPECT_THAT(failures, testing::Contains(classOf(ending.outcome)));
      }
    });
    seen.insert(calls.begin(), calls.end());
  }
  EXPECT_THAT(seen, testing::IsSupersetOf(expectedCalls));
}

TEST_P(FailEverySystemCall, GoesOnAfterAnInterruptionOrAShortTransfer) {
  for (const Way way : {Way::kFail, Way::kShort})
    run_.failEach(GetParam().operation, {Kind::kInterruptible, 0, way, EINTR},
                  [](const Ending& ending) {
                    expectFiles(ending);
                    EXPECT_EQ(ending.outcome, (Outcome{0, ""}));
                  });
}

INSTANTIATE_TEST_SUITE_P(Operations, FailEverySystemCall, testing::ValuesIn(rows()),
                         [](const auto& row) { return std::string(row.param.operation.name); });

}  // namespace
}  // namespace orla::test
