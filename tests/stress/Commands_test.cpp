// All ten functions of the built library, in many threads and very often.
#include <atomic>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include ORLA_MACHINE  // machine_posix.h or machine_win32.h
#include "orla/ORLACl.h"
#include "support/CommandServer.h"
#include "support/TempDir.h"

namespace orla::test {
namespace {

CommandServer& server() {
  static CommandServer& only = *new CommandServer;
  return only;
}

std::uint32_t connectTo(const std::string& word) {
  std::uint32_t handle = 0;
  const std::uint32_t status = ORLAConnect(server().url(word).c_str(), "", 0, &handle);
  EXPECT_EQ(status, handle != 0 ? 0U : 1U);
  return handle;
}

/// The first word of a URL's path, and the status that every command then returns.
struct Case {
  const char* word;
  std::uint32_t status;
} const kCases[] = {{"1.2.0", 0}, {"short", 4}, {"gone", 4}, {"400", 12}};

void ORLA_CALL countFirst(orla_progress_record* record, const void* data, std::uint32_t length) {
  EXPECT_EQ(length, data != nullptr ? 512U : 0U);
  if (data) ++record->reserved[0];
}

/// Runs commands in one thread, with its own package.
struct Agent {
  explicit Agent(int number, std::size_t size = 3000)
      : key("agent" + std::to_string(number)), package(size, static_cast<char>('a' + number)) {}
  ~Agent() { EXPECT_LE(folder.names().size(), 2U) << "a temporary file was left"; }

  /// Runs the four commands and checks their results. Unless the handle is `known`, another thread may
  /// end its connection at any time, and the library then does not know the handle.
  void run(std::uint32_t handle, const Case& expected, bool known = true) {
    SCOPED_TRACE(expected.word);
    const auto succeeds = [&](std::uint32_t status) {
      if (known || status != ORLA_ERROR_ARGUMENT) {
        EXPECT_EQ(status, expected.status);
      }
      return status == ORLA_OK;
    };
    std::uint16_t major, minor;
    bool done = succeeds(ORLAGetVersion(handle, &major, &minor));
    EXPECT_EQ(major, done ? 1 : 0);
    EXPECT_EQ(minor, done ? 2 : 0);

    char name[1000];
    std::uint32_t size = sizeof name;
    done = succeeds(ORLAGetPackageName(handle, 7, 2, identities, name, &size));
    EXPECT_EQ(name, done ? "ORLACommand=CompileName" + query : "");

    size = sizeof name;
    std::snprintf(name, sizeof name, "%s", key.c_str());
    done = succeeds(ORLASendPackage(handle, 7, 2, identities, path.c_str(), name, &size));
    EXPECT_EQ(size, done ? package.size() : 0xFFFFFFFF);
    EXPECT_EQ(name, (done ? "ORLACommand=UploadPackage" + query + "&FileName=" : "") + key);

    // Downloads the package, if it was sent.
    orla_progress_record record{};
    const std::string target = "/" + (done ? key : expected.word), copy = folder.path("copy");
    const bool sent = done;
    done =
        succeeds(ORLADownloadFile(handle, target.c_str(), copy.c_str(), countFirst, &record, "1"));
    if (done && sent) {
      EXPECT_TRUE(folder.read("copy") == package);
      // Copies, because the record's members may not be aligned.
      const std::uint32_t count = record.byte_count, previews = record.reserved[0];
      EXPECT_EQ(count, package.size());
      EXPECT_EQ(previews, 1U);
    }
    // The message is empty, or begins with "HTTP" or the name of an error class.
    EXPECT_EQ(ORLAGetLastErrorMsg(name, ORLA_MESSAGE_SIZE), 0U);
    EXPECT_THAT(name[0], testing::AnyOf('\0', 'H', 'R')) << name;
  }

  const std::string key, package;
  const TempDir folder;
  const std::string path = folder.write("package", package);
  const char* const identities[2] = {"a b", key.c_str()};
  const std::string query = "&Type=7&Identity0=a%20b&Identity1=" + key + "&Encoding=UTF-8";
};

// First each thread uses its own handle and a shared one. Then a further thread cleans up at any time,
// so that the handles of the others become unknown, or name connections that yet others have made.
TEST(Commands, WorkInEightThreads) {
  for (const bool quiet : {true, false}) {
    EXPECT_EQ(ORLAInitialize(0, nullptr), 0U);
    const std::uint32_t shared = connectTo("1.2.0");
    std::atomic<int> running = 8;
    std::vector<std::jthread> threads;
    for (int number = 0; number < 8; ++number) {
      threads.emplace_back([&, number] {
        Agent agent(number, 1000 + static_cast<std::size_t>(number) * 40000);
        for (std::size_t round = 0; round < 12; ++round) {
          const Case& own = kCases[quiet ? round % std::size(kCases) : 0];
          const std::uint32_t handle = connectTo(own.word);
          agent.run(handle, own, quiet);
          const std::uint32_t disconnected = ORLADisconnect(handle);
          if (quiet) {
            EXPECT_EQ(disconnected, 0U);
          }
          agent.run(quiet ? shared : handle, kCases[0], quiet);
        }
        --running;
      });
    }
    while (!quiet && running > 0) {
      EXPECT_EQ(ORLACleanup(), 0U);
      EXPECT_EQ(ORLAInitialize(0, nullptr), 0U);
    }
    threads.clear();
    EXPECT_EQ(ORLACleanup(), 0U);
  }
}

TEST(Commands, LeaveNothingOpenOrAllocated) {
  Agent agent(0);
  decltype(Machine::usage()) usage[2];
  EXPECT_EQ(ORLAInitialize(0, nullptr), 0U);
  const std::uint32_t kept = connectTo("1.2.0");
  // In the first phase the system and the C++ runtime allocate what they keep.
  for (const int phase : {0, 1}) {
    const int most = phase == 0 ? 1000 : ORLA_ENDURANCE;
    for (int commands = 0; commands < most && !HasFailure(); commands += 8) {
      const Case& c = kCases[static_cast<std::size_t>(commands) / 8 % std::size(kCases)];
      const std::uint32_t handle = connectTo(c.word);
      agent.run(handle, c);
      agent.run(kept, kCases[0]);
      EXPECT_EQ(ORLADisconnect(handle), 0U);
    }
    agent.run(~0U, {"", 6});  // An unknown handle.
    server().settle();
    usage[phase] = Machine::usage();
  }
  EXPECT_LE(usage[1].first, usage[0].first + Machine::kLateObjects) << "open files and objects";
  EXPECT_LT(usage[1].second, usage[0].second + 16384) << "bytes of the heap";
  EXPECT_EQ(ORLACleanup(), 0U);
}

}  // namespace
}  // namespace orla::test
