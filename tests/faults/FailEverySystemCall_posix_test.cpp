// Fails each system call beneath the platform layer, one after the other, with several errors.
#include <algorithm>
#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "faults/FaultRun.h"

namespace orla::test {
namespace {

using faults::Kind;
using faults::Way;
using Calls = std::set<std::string>;

/// A status, and the class of the message: what precedes its first colon.
using Ended = std::pair<std::uint32_t, std::string>;
const Ended kSucceeds{0, ""};
const Ended kRefused{1, ""};
const Ended kNotReplaced{9, ""};
const Ended kTooLarge{11, ""};
const Ended kShortRead{24, ""};
const Ended kNotWritten{1, "Transport internal error"};
const Ended kSocketFails{4, "RWSocketError"};
const Ended kNotConnected{4, "RWHttpConnectionError"};
const Ended kNoReply{4, "RWReplyError"};
const Ended kPartOfBody{4, "RWHttpHandlerError"};

Ended endedAs(const Outcome& outcome) {
  return {outcome.status, outcome.message.substr(0, outcome.message.find(':'))};
}

const struct {
  const char* name;
  int code;
} kErrors[] = {{"EIO", EIO},       {"ENOSPC", ENOSPC}, {"EPERM", EPERM},  {"EACCES", EACCES},
               {"ENOLCK", ENOLCK}, {"EMFILE", EMFILE}, {"ENOMEM", ENOMEM}};

/// Without these calls a command has not done its work: it must not succeed if one of them fails.
const Calls kNeeded = {"socket", "connect", "setsockopt", "sendto", "send",
                       "recvmsg",   "write",   "pwrite",     "read",   "close of a written file"};

/// Whether a successful operation may have ignored that `call` failed with `error`.
bool mayIgnore(const std::string& call, int error) {
  // Errors other than these two show that the file system cannot synchronize, not that it lost data.
  if (call == "fdatasync" || call == "fsync") return error != EIO && error != ENOSPC;
  return !kNeeded.contains(call);
}

/// Checks what remains in the directory.
void expectFiles(const Ending& ending) {
  const Calls moves = {"renameat2", "link", "rename"};
  const Calls openings = {"open", "openat", "fcntl", "fstat", "stat", "lstat", "pread"};
  // The old file is deleted before the new one can take its place.
  const bool mayBeLost = moves.contains(ending.failedCall) && !ending.isSuccess();
  EXPECT_GE(ending.names.count("old"), mayBeLost ? 0U : 1U);
  // A temporary file that cannot be opened may be in use by another process, so it is left.
  const bool mayBeLeft =
      endedAs(ending.outcome) == kNotWritten && openings.contains(ending.failedCall);
  EXPECT_LE(ending.temporaryFiles(), mayBeLeft ? 1U : 0U);
}

struct Row {
  Operation operation;
  std::vector<Ended> failures;
  /// Calls that the operation makes. They show that the calls of the library come through.
  Calls seen;
};

void PrintTo(const Row& row, std::ostream* out) {
  *out << row.operation.name;
}

std::vector<Row> rows() {
  const std::vector<Ended> command = {kSocketFails, kNotConnected, kNoReply, kPartOfBody};
  std::vector<Ended> send = command, download = command;
  send.insert(send.end(), {kRefused, kTooLarge, kShortRead});
  download.insert(download.end(), {kNotWritten, kNotReplaced});
  return {{kConnect, {}, {}},
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
  Calls seen;
  for (const auto& [name, code] : kErrors) {
    SCOPED_TRACE(name);
    const faults::Fault fault{Kind::kSystem, 0, Way::kFail, static_cast<std::uint32_t>(code)};
    const auto calls = run_.failEach(operation, fault, [&, code = code](const Ending& ending) {
      expectFiles(ending);
      EXPECT_FALSE(ending.outcome.thrown);
      if (ending.isSuccess()) {
        EXPECT_TRUE(mayIgnore(ending.failedCall, code));
      } else {
        EXPECT_THAT(failures, testing::Contains(endedAs(ending.outcome)));
      }
    });
    seen.insert(calls.begin(), calls.end());
  }
  EXPECT_THAT(seen, testing::IsSupersetOf(expectedCalls));
}

TEST_P(FailEverySystemCall, GoesOnAfterAnInterruption) {
  run_.failEach(GetParam().operation, {Kind::kInterruptible, 0, Way::kFail, EINTR},
                [](const Ending& ending) {
                  expectFiles(ending);
                  EXPECT_EQ(ending.outcome, (Outcome{0, ""}));
                });
}

TEST_P(FailEverySystemCall, GoesOnAfterAShortTransfer) {
  run_.failEach(GetParam().operation, {Kind::kInterruptible, 0, Way::kShort},
                [](const Ending& ending) {
                  expectFiles(ending);
                  EXPECT_EQ(ending.outcome, (Outcome{0, ""}));
                });
}

INSTANTIATE_TEST_SUITE_P(Operations, FailEverySystemCall, testing::ValuesIn(rows()),
                         [](const auto& row) { return std::string(row.param.operation.name); });

// Without the file of shared kernel objects the library has private ones, and works. Once it shares
// the file, an object that it cannot lock there must not become private, because another process may
// use the shared one: then every operation on the connections fails.
class LoadAndUnload : public testing::TestWithParam<Operation> {
 protected:
  FaultRun run_;
};

TEST_P(LoadAndUnload, EndInAnAllowedOutcomeAndLeaveNothingOpen) {
  std::size_t calls = 0;
  for (const auto& [name, code] : kErrors) {
    SCOPED_TRACE(name);
    const faults::Fault fault{Kind::kSystem, 0, Way::kFail, static_cast<std::uint32_t>(code)};
    const auto check = [](const Ending& ending) {
      expectFiles(ending);
      const bool mayRefuse = ending.failedCall == "fcntl" || ending.failedCall == "fstat";
      const Outcome refused = mayRefuse ? Outcome{1, "", true} : Outcome{0, ""};
      EXPECT_THAT(ending.outcome, testing::AnyOf(Outcome{0, ""}, refused));
    };
    calls += run_.failEach(GetParam(), fault, check).size();
  }
  EXPECT_GT(calls, 0U);
}

TEST_P(LoadAndUnload, GoOnAfterAnInterruption) {
  run_.failEach(GetParam(), {Kind::kInterruptible, 0, Way::kFail, EINTR}, [](const Ending& ending) {
    EXPECT_EQ(ending.outcome, (Outcome{0, ""}));
  });
}

INSTANTIATE_TEST_SUITE_P(Operations, LoadAndUnload, testing::Values(kLoad, kUnload),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace orla::test
