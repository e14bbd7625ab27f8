// One HTTP transaction: its limits, its failures, and the body of a reply into a file.
#include "platform/winapi.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "client/CInetCntHandle.h"
#include "client/ReadBody.h"
#include "client/VekRWHttpClient.h"
#include "net/RWWinsockStartup.h"
#include "support/PortalFixture.h"
#include "support/ScriptedServer.h"
#include "support/TempDir.h"

namespace orla {
namespace {

using test::PortalFixture;
using test::ScriptedServer;
using testing::ElementsAre;
using Arg = CInetCntHandle::CHttpRequestArg;

TEST(CInetCntHandle, LimitsEachWaitForData) {
  const ScriptedServer server{test::Script{}};
  VekRWHttpClient client(new VekRWHttpClientImp);
  CInetCntHandle::ConnectClient(client, "127.0.0.1", static_cast<std::uint32_t>(server.port()), 0);
  int milliseconds = 0, size = sizeof milliseconds;
  client.portal().socket().getsockopt(SOL_SOCKET, SO_RCVTIMEO, &milliseconds, &size);
  EXPECT_EQ(milliseconds, 300000);
}

TEST(CInetCntHandle, KeepsWhatFitsOfAMessage) {
  const RWWinsockStartup winsock;
  const RWTHandle<CInetCntHandle> connection{new CInetCntHandle};
  char message[CInetCntHandle::kMessageSize];
  Arg arg;
  connection->OpenTarget("http://127.0.0.1:65536/", "", 0);
  EXPECT_EQ(connection->Get("/", &arg, 0), 4U);
  connection->CopyMessage(message);
  EXPECT_STREQ(message, "RWInetServiceNotFoundError: No such service '65536'");
  EXPECT_FALSE(connection->OpenTarget(RWCString(3000, 'x').c_str(), "", 0));
  connection->CopyMessage(message);
  EXPECT_EQ(message, "URL '" + RWCString(1018, 'x'));
}

TEST(CInetCntHandle, PortIsTheNumberThatItsTextBeginsWith) {
  const std::vector<std::pair<const char*, std::uint32_t>> cases = {
      {"", 80}, {"8080", 8080}, {"81x", 81}, {"x", 0}, {"-1", ~0U}, {"99999999999", ~0U}};
  for (const auto& [text, port] : cases) EXPECT_EQ(CInetCntHandle::PortNumber(text), port) << text;
}

/// What the progress function was told.
std::vector<std::string> calls;

void ORLA_CALL onProgress(orla_progress_record* record, const void* data, std::uint32_t length) {
  EXPECT_EQ(+record->phase, 1U);  // "+": no reference to a packed field is aligned.
  EXPECT_EQ(+record->status, 6U);
  calls.push_back(std::to_string(record->byte_count) + ":" + std::to_string(length) +
                  (data ? std::string(1, *static_cast<const char*>(data)) : ""));
}

class ReadBodyTest : public testing::Test {
 protected:
  ReadBodyTest() {
    calls.clear();
    std::memset(&record_, 0x55, sizeof record_);
    EXPECT_EQ(file_.Open(path_.c_str(), GENERIC_WRITE, 1, CVekFile::kReplace, 0), 0U);
  }
  /// Reads `length` bytes that come in these pieces: all of them.
  void read(std::size_t length, std::vector<std::size_t> pieces) {
    const PortalFixture wire(RWCString(length, 'a'), std::move(pieces));
    ReadBody(wire.portal(), &arg_);
    EXPECT_EQ(wire.unread(), "");
  }

  test::TempDir folder_;
  RWCString path_ = folder_.path("file");
  CVekFile file_;
  std::uint32_t byteCount_ = 0;
  orla_progress_record record_;
  Arg arg_{"", 0, 1, &file_, &byteCount_, onProgress, &record_};
};

TEST_F(ReadBodyTest, ReportsAPreviewAndThenEachPiece) {
  read(1100, {300, 300, 400, 100});
  EXPECT_THAT(calls, ElementsAre("600:512a", "1000:0", "1100:0"));
  EXPECT_EQ(byteCount_, 1100U);
  EXPECT_EQ(RWCString(record_.file_name), path_);
  EXPECT_EQ(record_.reserved[0], 0x55);
  EXPECT_EQ(file_.Close(true), 0U);
  EXPECT_EQ(folder_.read("file"), RWCString(1100, 'a'));
}

TEST_F(ReadBodyTest, MakesNoCallForFewerThan512Bytes) {
  path_ = RWCString(300, 'n');
  read(511, {1});
  EXPECT_THAT(calls, ElementsAre());
  EXPECT_EQ(NotifyProgress(onProgress, &record_, 1, 6, 1, path_.c_str(), nullptr, 0), 0U);
  EXPECT_EQ(RWCString(record_.file_name), RWCString(259, 'n'));
}

TEST_F(ReadBodyTest, DrainsTheRestWhenTheFileRefuses) {
  file_.Close(false);
  read(3000, {600});
  EXPECT_TRUE(arg_.errorCode == 1 && byteCount_ == 0);
}

}  // namespace
}  // namespace orla
