// All ten functions of the built library, against a server: in many threads, and very often.
#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include ORLA_MACHINE  // The system's twin.
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

/// The first word of a URL's path, and what the commands return then.
struct Case {
  const char* word;
  std::uint32_t version, name, send, download;
} const kCases[] = {{"1.2.0", 0, 0, 0, 0}, {"close", 4, 0, 0, 0},  {"short", 4, 4, 4, 4},
                    {"gone", 4, 4, 4, 4},  {"304", 4, 13, 13, 13}, {"404", 46, 46, 46, 10}};

void ORLA_CALL countFirst(orla_progress_record* record, const void* data, std::uint32_t length) {
  EXPECT_EQ(data != nullptr, length == 512 && ++record->reserved[0] == 1);
}

/// Runs commands, for one thread, with a package of its own.
struct Agent {
  explicit Agent(int number, std::size_t size = 3000)
      : key("agent" + std::to_string(number)), package(size, static_cast<char>('a' + number)) {}
  ~Agent() { EXPECT_LE(folder.names().size(), 2U) << "a temporary file was left"; }

  /// The four commands, each with its answer. Where others end connections, any may be unknown.
  void run(std::uint32_t handle, const Case& expected, bool known = true) {
    const auto succeeds = [&](std::uint32_t status, std::uint32_t wanted) {
      EXPECT_TRUE(status == wanted || (!known && status == 6)) << expected.word << ": " << status;
      return status == 0;
    };
    std::uint16_t major, minor;
    std::uint32_t code = 0, size = 1000;
    const bool told = succeeds(ORLAGetVersion(handle, &major, &minor), expected.version);
    EXPECT_TRUE(major == told && minor == (told ? 2 : 0));
    EXPECT_TRUE(expected.version == expected.name || (ORLAGetLastError(&code), code == 58));

    const char* const identities[] = {"a b", key.c_str()};
    const std::string query = "&Type=7&Identity0=a%20b&Identity1=" + key + "&Encoding=UTF-8";
    char name[1000], text[ORLA_MESSAGE_SIZE];
    const auto named = ORLAGetPackageName(handle, 7, 2, identities, name, &size);
    EXPECT_EQ(name, succeeds(named, expected.name) ? "ORLACommand=CompileName" + query : "");

    std::snprintf(name, size = sizeof name, "%s", key.c_str());
    const auto status = ORLASendPackage(handle, 7, 2, identities, path.c_str(), name, &size);
    const bool sent = succeeds(status, expected.send);
    EXPECT_EQ(size, sent ? package.size() : 0xFFFFFFFF);
    EXPECT_EQ(name, (sent ? "ORLACommand=UploadPackage" + query + "&FileName=" : "") + key);

    orla_progress_record r{};
    const std::string target = "/" + (sent ? key : expected.word), copy = folder.path("copy");
    const auto loaded = ORLADownloadFile(handle, target.c_str(), copy.c_str(), countFirst, &r, "1");
    EXPECT_TRUE(
        !succeeds(loaded, expected.download) || !sent ||
        (folder.read("copy") == package && r.byte_count == package.size() && r.reserved[0]));
    EXPECT_EQ(ORLAGetLastErrorMsg(text, sizeof text), 0U);
    EXPECT_TRUE(*text == '\0' || *text == 'H' || *text == 'R') << text;
  }

  const std::string key, package;
  const TempDir folder;
  const std::string path = folder.write("package", package);
};

// On handles of their own and on a shared one; then with clean-ups at any time, and on handles that
// others may have taken over.
TEST(Commands, MixInEightThreads) {
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
          EXPECT_TRUE(ORLADisconnect(handle) == 0 || !quiet);
          agent.run(quiet ? shared : handle, kCases[0], quiet);
        }
        --running;
      });
    }
    while (!quiet && running > 0) EXPECT_EQ(ORLACleanup() + ORLAInitialize(0, nullptr), 0U);
    threads.clear();
    EXPECT_EQ(ORLACleanup(), 0U);
  }
}

TEST(Commands, LeaveNothingBehindHoweverMany) {
  Agent agent(0);
  decltype(Machine::usage()) usage[2];
  EXPECT_EQ(ORLAInitialize(0, nullptr), 0U);
  const std::uint32_t kept = connectTo("1.2.0");
  for (const int phase : {0, 1}) {  // The first fills what the system and the runtime keep.
    const int most = phase == 0 ? 1000 : ORLA_ENDURANCE;
    for (int commands = 0; commands < most && !HasFailure(); commands += 8) {
      const Case& c = kCases[static_cast<std::size_t>(commands) / 8 % std::size(kCases)];
      const std::uint32_t handle = connectTo(c.word);
      agent.run(handle, c), agent.run(kept, kCases[0]);
      EXPECT_EQ(ORLADisconnect(handle), 0U);
    }
    agent.run(~0U, {"", 6, 6, 6, 6});
    server().settle();
    usage[phase] = Machine::usage();
  }
  EXPECT_LE(usage[1].first, usage[0].first + Machine::kLateObjects) << "open files and objects";
  EXPECT_LT(usage[1].second, usage[0].second + 16384) << "bytes of the heap";
  EXPECT_EQ(ORLACleanup(), 0U);
}

}  // namespace
}  // namespace orla::test
