// One HTTP transaction: its limits, its failures, and the body of a reply into a file.
#include "platform/winapi.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "client/CInetCntHandle.h"
#include "client/MapHttpStatus.h"
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

class TransactionTest : public testing::Test {
 public:
  ~TransactionTest() noexcept override = default;

 protected:
  RWCString message() const {
    char text[CInetCntHandle::kMessageSize];
    connection_->CopyMessage(text);
    return text;
  }

  RWWinsockStartup winsock_;
  RWTHandle<CInetCntHandle> connection_{new CInetCntHandle};
};

TEST_F(TransactionTest, LimitsEachWaitForData) {
  ScriptedServer server{test::Script{}};
  VekRWHttpClient client(new VekRWHttpClientImp);
  CInetCntHandle::ConnectClient(client, "127.0.0.1", static_cast<std::uint32_t>(server.port()), 0);
  int milliseconds = 0, size = sizeof milliseconds;
  client.portal().socket().getsockopt(SOL_SOCKET, SO_RCVTIMEO, &milliseconds, &size);
  EXPECT_EQ(milliseconds, 300000);
}

TEST_F(TransactionTest, TurnsFailuresIntoCodesAndMessages) {
  const struct {
    const char* wire;
    const char* message;
  } cases[] = {
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n",
       "RWHttpConnectionError: Server unexpectedly closed connection"},
      {"nonsense\r\n", "RWReplySyntaxError: reply was 'nonsense'"},
      {"", "RWReplyError: Connection closed by server"},
  };
  for (const auto& c : cases) {
    ScriptedServer server{test::reply(c.wire)};
    connection_->OpenTarget(server.url("/").c_str(), "", 0);
    Arg arg;
    EXPECT_EQ(connection_->Get("/", &arg, 5000), 4U) << c.wire;
    EXPECT_EQ(message(), c.message);
  }
  connection_->OpenTarget("http://127.0.0.1:65536/", "", 0);
  Arg arg;
  EXPECT_EQ(connection_->Get("/", &arg, 0), 4U);
  EXPECT_EQ(message(), "RWInetServiceNotFoundError: No such service '65536'");
  EXPECT_EQ(connection_->Get(nullptr, nullptr, 0), 1U);
  EXPECT_EQ(message(), "Transport internal error");
  EXPECT_FALSE(connection_->OpenTarget(nullptr, nullptr, 0));
  EXPECT_EQ(message(), "URL '' is invalid.");
  EXPECT_FALSE(connection_->OpenTarget(RWCString(3000, 'x').c_str(), "", 0));
  EXPECT_EQ(message(), "URL '" + RWCString(1018, 'x'));
}

TEST(CInetCntHandle, PortIsTheNumberThatItsTextBeginsWith) {
  const std::vector<std::pair<const char*, std::uint32_t>> cases = {
      {"", 80}, {"8080", 8080}, {"81x", 81}, {"x", 0}, {"-1", ~0U}, {"99999999999", ~0U}};
  for (const auto& [text, port] : cases) EXPECT_EQ(CInetCntHandle::PortNumber(text), port) << text;
}

TEST(MapHttpStatus, GivesCodesAndTexts) {
  const auto map = [](int status, std::size_t size) {
    char buffer[64] = "?????";
    return std::to_string(MapHttpStatus(status, buffer, size)) + " " + buffer;
  };
  EXPECT_EQ(map(200, 64), "0 ?????");
  EXPECT_EQ(map(404, 64), "46 HTTP 404: file not found.");
  EXPECT_EQ(map(403, 64), "46 HTTP 404: file not found.");
  EXPECT_EQ(map(304, 64), "13 HTTP 304: file not modified.");
  EXPECT_EQ(map(401, 64), "9 HTTP 401: unauthorized.");
  EXPECT_EQ(map(400, 64), "12 HTTP 400: bad request.");
  EXPECT_EQ(map(501, 64), "12 HTTP 400: bad request.");
  EXPECT_EQ(map(204, 64), "1 HTTP protocol error: 204");
  EXPECT_EQ(map(401, 4), "9 HTTP?");
}

/// What the progress function was told, and what it answers.
struct Calls {
  std::vector<std::string> log;
  std::size_t answerAt = 0;  // The call, from 1, that writes `answer`.
  std::uint32_t answer = 0;
} calls;

void ORLA_CALL onProgress(orla_progress_record* record, const void* data, std::uint32_t length) {
  EXPECT_EQ(+record->phase, 1U);  // "+": no reference to a packed field is aligned.
  EXPECT_EQ(+record->status, 6U);
  calls.log.push_back(std::to_string(record->byte_count) + ":" + std::to_string(length) +
                      (data ? std::string(1, *static_cast<const char*>(data)) : ""));
  if (calls.log.size() == calls.answerAt) record->status = calls.answer;
}

class ReadBodyTest : public testing::Test {
 protected:
  ReadBodyTest() {
    calls = {};
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
  EXPECT_THAT(calls.log, ElementsAre("600:512a", "1000:0", "1100:0"));
  EXPECT_EQ(byteCount_, 1100U);
  EXPECT_EQ(RWCString(record_.file_name), path_);
  EXPECT_EQ(record_.reserved[0], 0x55);
  EXPECT_EQ(file_.Close(true), 0U);
  EXPECT_EQ(folder_.read("file"), RWCString(1100, 'a'));
}

TEST_F(ReadBodyTest, MakesNoCallForFewerThan512Bytes) {
  path_ = RWCString(300, 'n');
  read(511, {1});
  EXPECT_THAT(calls.log, ElementsAre());
  EXPECT_EQ(NotifyProgress(onProgress, &record_, 1, 6, 1, path_.c_str(), nullptr, 0), 0U);
  EXPECT_EQ(RWCString(record_.file_name), RWCString(259, 'n'));
}

TEST_F(ReadBodyTest, DrainsTheRestWhenTheAgentOrTheFileRefuses) {
  const std::uint32_t answers[][2] = {{11, 12}, {9, 13}};
  for (const auto& [answer, code] : answers) {
    calls = {{}, 2, answer};
    arg_.errorCode = byteCount_ = 0;
    read(3000, {600});
    EXPECT_EQ(arg_.errorCode, code);
    EXPECT_THAT(calls.log, ElementsAre("600:512a", "1200:0"));
    EXPECT_EQ(byteCount_, 1200U);
  }
  file_.Close(false);
  arg_.errorCode = byteCount_ = 0;
  read(3000, {600});
  EXPECT_EQ(arg_.errorCode, 1U);
  EXPECT_EQ(byteCount_, 0U);
}

}  // namespace
}  // namespace orla
