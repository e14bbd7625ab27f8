// The ten functions through the built library, against a server.
#include <atomic>
#include <functional>
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

using testing::AnyOf;

Script answer(const std::string& body) {
  return reply("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
               body);
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
  const std::string package(70000, 'p'), path = folder.write("p", package);
  ScriptedServer server{answer("1.2.3"), answer("as"), answer("ok"), answer(package), answer("")};
  const std::uint32_t handle = connect(server);
  std::uint16_t major = 0, minor = 0;
  EXPECT_EQ(ORLAGetVersion(handle, &major, &minor), 0U);
  EXPECT_TRUE(major == 1 && minor == 2);

  const char* const identities[] = {"a b", "c"};
  char name[64];
  std::uint32_t size = sizeof name, code = 0;
  EXPECT_EQ(ORLAGetPackageName(handle, 7, 2, identities, name, &size), 0U);
  size = sizeof name;
  EXPECT_EQ(ORLASendPackage(handle, 7, 2, identities, path.c_str(), name, &size), 0U);
  EXPECT_EQ(size, package.size());
  EXPECT_STREQ(name, "ok");

  orla_progress_record record = {};
  const std::string copy = folder.path("copy");
  EXPECT_EQ(ORLADownloadFile(handle, "/files/p", copy.c_str(), countCalls, &record, "12"), 0U);
  EXPECT_GT(record.reserved[0], 0);
  EXPECT_EQ(folder.read("copy"), package);
  EXPECT_EQ(ORLAGetVersion(handle, &major, &minor), 4U);
  EXPECT_EQ(ORLAGetLastError(&code), 0U);
  EXPECT_EQ(code, 58U);
  EXPECT_EQ(ORLADisconnect(handle), 0U);

  const std::string parameters = "&Type=7&Identity0=a%20b&Identity1=c&Encoding=UTF-8";
  EXPECT_EQ(server.request(1), "GET /srv?ORLACommand=CompileName" + parameters +
                                   " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server.port()) +
                                   "\r\n\r\n");
  EXPECT_TRUE(server.request(2).starts_with("POST /srv?ORLACommand=UploadPackage" + parameters +
                                            "&FileName=as HTTP/1.1\r\n"));
}

constexpr int kThreads = 8;

void inParallel(const std::function<void()>& work) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(work);
}

// On handles of their own and on a shared one: each answer is a whole one.
TEST_F(Exports, AnswerInParallel) {
  constexpr int kRounds = 5;
  ScriptedServer server(std::vector<Script>(kThreads * kRounds * 2, answer("1.2.3")));
  const std::uint32_t shared = connect(server);
  std::atomic<int> versions{0};
  inParallel([&] {
    for (int round = 0; round < kRounds; ++round) {
      const std::uint32_t own = connect(server);
      for (const std::uint32_t handle : {own, shared}) {
        std::uint16_t major = 0, minor = 0;
        EXPECT_EQ(ORLAGetVersion(handle, &major, &minor), 0U);
        versions += major == 1 && minor == 2;
      }
      EXPECT_EQ(ORLADisconnect(own), 0U);
    }
  });
  EXPECT_EQ(versions, kThreads * kRounds * 2);
}

// Every handle may be gone, and the library uninitialised, at any time.
TEST_F(Exports, StartAndEndInParallel) {
  inParallel([] {
    for (int round = 0; round < 50; ++round) {
      EXPECT_EQ(ORLAInitialize(0, nullptr), 0U);
      std::uint32_t handle = 0, code = 0;
      const std::uint32_t status = ORLAConnect("http://127.0.0.1:0/", "", 0, &handle);
      EXPECT_EQ(status, handle != 0 ? 0U : 1U);
      std::uint16_t major, minor;
      EXPECT_THAT(ORLAGetVersion(handle, &major, &minor), AnyOf(4U, 6U));
      char text[ORLA_MESSAGE_SIZE];
      EXPECT_EQ(ORLAGetLastErrorMsg(text, sizeof text), 0U);
      ORLAGetLastError(&code);
      EXPECT_THAT(text, AnyOf("", testing::StartsWith("RWSocketError: in RWSocket::connect: ")));
      EXPECT_THAT(ORLADisconnect(handle), AnyOf(0U, 6U));
      EXPECT_EQ(ORLACleanup(), 0U);
    }
  });
}

}  // namespace
}  // namespace orla::test
