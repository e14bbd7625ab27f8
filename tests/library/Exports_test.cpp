// The ten functions through the built library, against a server.
#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "orla/ORLACl.h"
#include "support/ScriptedServer.h"
#include "support/TempDir.h"

namespace orla::test {
namespace {

Script answer(const std::string& body) {
  return reply("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
               body);
}

std::string lastMessage() {
  char text[ORLA_MESSAGE_SIZE];
  ORLAGetLastErrorMsg(text, sizeof text);
  return text;
}

class Exports : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ORLAInitialize(0, nullptr), 0U); }
  void TearDown() override { EXPECT_EQ(ORLACleanup(), 0U); }

  static std::uint32_t connect(const ScriptedServer& server) {
    std::uint32_t handle = 0;
    EXPECT_EQ(ORLAConnect(server.url("/srv").c_str(), "credential", 0, &handle), 0U);
    return handle;
  }
};

void ORLA_CALL countCalls(orla_progress_record* record, const void* data, std::uint32_t length) {
  EXPECT_EQ(data != nullptr, length == 512);
  ++record->reserved[0];
}

TEST_F(Exports, DoTheWholeJob) {
  const TempDir folder;
  const std::string package(70000, 'p');
  ScriptedServer server{answer("3.14.159"), answer("stored-name"), answer("accepted"),
                        answer(package)};
  const std::uint32_t handle = connect(server);

  std::uint16_t major = 0, minor = 0;
  EXPECT_EQ(ORLAGetVersion(handle, &major, &minor), 0U);
  EXPECT_EQ(major, 3);
  EXPECT_EQ(minor, 14);

  const char* const identities[] = {"a b", "c"};
  char name[64];
  std::uint32_t size = sizeof name;
  EXPECT_EQ(ORLAGetPackageName(handle, 2, 2, identities, name, &size), 0U);
  EXPECT_STREQ(name, "stored-name");
  EXPECT_EQ(size, 11U);

  size = sizeof name;
  EXPECT_EQ(
      ORLASendPackage(handle, 2, 2, identities, folder.write("p", package).c_str(), name, &size),
      0U);
  EXPECT_EQ(size, package.size());
  EXPECT_STREQ(name, "accepted");

  orla_progress_record record = {};
  EXPECT_EQ(
      ORLADownloadFile(handle, "/files/p", folder.path("copy").c_str(), countCalls, &record, "12"),
      0U);
  EXPECT_GT(record.reserved[0], 0);
  EXPECT_EQ(+record.byte_count, package.size());
  EXPECT_EQ(folder.read("copy"), package);
  EXPECT_EQ(ORLADisconnect(handle), 0U);

  const std::string host =
      " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server.port()) + "\r\n\r\n";
  const std::string parameters = "&Type=2&Identity0=a%20b&Identity1=c&Encoding=UTF-8";
  EXPECT_EQ(server.request(0), "GET /srv?ORLACommand=GetVersion" + host);
  EXPECT_EQ(server.request(1), "GET /srv?ORLACommand=CompileName" + parameters + host);
  EXPECT_TRUE(server.request(2).starts_with("POST /srv?ORLACommand=UploadPackage" + parameters +
                                            "&FileName=stored-name HTTP/1.1\r\n"));
  EXPECT_EQ(server.request(3), "GET /files/p&Counter=12" + host);
}

TEST_F(Exports, KeepTheCodeOfEachThread) {
  ScriptedServer server{answer("none")};
  const std::uint32_t handle = connect(server);
  std::thread([handle] {
    std::uint16_t major, minor;
    EXPECT_EQ(ORLAGetVersion(handle, &major, &minor), std::uint32_t{ORLA_ERROR_TRANSPORT});
    std::uint32_t code = 0;
    EXPECT_EQ(ORLAGetLastError(&code), 0U);
    EXPECT_EQ(code, std::uint32_t{ORLA_ERROR_VERSION_TEXT});
  }).join();
  std::uint32_t code = 0;
  ORLAGetLastError(&code);
  EXPECT_NE(code, std::uint32_t{ORLA_ERROR_VERSION_TEXT});
}

// Every export from many threads at once, on handles of their own and on a shared one that others
// disconnect and reuse meanwhile: each answer is a whole one.
TEST_F(Exports, WorkInParallel) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 5;
  ScriptedServer server(std::vector<Script>(kThreads * kRounds * 2, answer("1.2.3")));
  const std::uint32_t shared = connect(server);
  std::atomic<int> versions{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        const std::uint32_t own = connect(server);
        for (const std::uint32_t handle : {own, shared}) {
          std::uint16_t major = 0, minor = 0;
          EXPECT_EQ(ORLAGetVersion(handle, &major, &minor), 0U) << lastMessage();
          if (major == 1 && minor == 2) ++versions;
        }
        EXPECT_EQ(ORLADisconnect(own), 0U);
        std::uint32_t code;
        ORLAGetLastError(&code);
        lastMessage();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(versions, kThreads * kRounds * 2);
}

}  // namespace
}  // namespace orla::test
