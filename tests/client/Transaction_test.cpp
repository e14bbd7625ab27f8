// One HTTP transaction: what goes out, what comes back into memory or a file, and what each failure
// becomes.
#include "platform/winapi.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "client/CInetCntHandle.h"
#include "client/CVekExceptionImp.h"
#include "client/MapHttpStatus.h"
#include "client/ReadBody.h"
#include "net/RWWinsockStartup.h"
#include "support/PortalFixture.h"
#include "support/ScriptedServer.h"
#include "support/TempDir.h"

namespace orla {
namespace {

using test::forEverySplit;
using test::PortalFixture;
using test::ScriptedServer;
using test::TempDir;
using testing::ElementsAre;
using Arg = CInetCntHandle::CHttpRequestArg;

RWCString messageOf(const CInetCntHandle& connection) {
  char message[CInetCntHandle::kMessageSize];
  connection.CopyMessage(message);
  return message;
}

class TransactionTest : public testing::Test {
 public:
  ~TransactionTest() noexcept override = default;

 protected:
  RWWinsockStartup winsock_;
  RWTHandle<CInetCntHandle> connection_{new CInetCntHandle};
};

TEST_F(TransactionTest, SendsTheRequestAndKeepsTheBody) {
  ScriptedServer server{test::reply("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nanswer"),
                        test::reply("HTTP/1.1 200 OK\r\n\r\nstored")};
  ASSERT_TRUE(connection_->OpenTarget(server.url("/ignored").c_str(), "", 0));
  Arg got;
  EXPECT_EQ(connection_->Get("/x?y=1", &got, 0), 0U);
  EXPECT_EQ(got.textBody, "answer");
  Arg posted;
  EXPECT_EQ(connection_->Post("/up", RWCString("a\0b", 3), &posted, 5000), 0U);
  EXPECT_EQ(posted.textBody, "stored");
  EXPECT_EQ(messageOf(*connection_), "Transport internal error") << "success sets no message";

  const std::string host = "Host: 127.0.0.1:" + std::to_string(server.port()) + "\r\n\r\n";
  EXPECT_THAT(server.requests(), ElementsAre("GET /x?y=1 HTTP/1.1\r\n" + host,
                                             "POST /up HTTP/1.1\r\nContent-Length: 3\r\n" + host +
                                                 std::string("a\0b", 3)));
}

TEST_F(TransactionTest, TurnsFailuresIntoCodesAndMessages) {
  const struct {
    const char* wire;
    std::uint32_t code;
    const char* message;
  } cases[] = {
      {"HTTP/1.1 403 No\r\nContent-Length: 2\r\n\r\nno", 46, "HTTP 404: file not found."},
      {"HTTP/1.1 302 X\r\nContent-Length: 0\r\n\r\n", 1, "HTTP protocol error: 302"},
      {"HTTP/1.1 204 X\r\n\r\n", 1, "HTTP protocol error: 204"},
      {"HTTP/1.1 304 X\r\n\r\n", 13, "HTTP 304: file not modified."},
      {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nshort", 4,
       "RWHttpHandlerError: The body was not completely consumed"},
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n", 4,
       "RWHttpConnectionError: Server unexpectedly closed connection"},
      {"nonsense\r\n", 4, "RWReplySyntaxError: reply was 'nonsense'"},
      {"", 4, "RWReplyError: Connection closed by server"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.wire);
    ScriptedServer server{test::reply(c.wire)};
    connection_->OpenTarget(server.url("/").c_str(), "", 0);
    Arg arg;
    EXPECT_EQ(connection_->Get("/", &arg, 0), c.code);
    EXPECT_EQ(messageOf(*connection_), c.message);
  }
}

TEST_F(TransactionTest, TellsWhatIsWrongBeforeTheNetwork) {
  const struct {
    const char* url;
    const char* message;
  } cases[] = {
      {"http://", "RWInetHostNotFoundError: No such host ''"},
      {"http://127.0.0.1:65536/", "RWInetServiceNotFoundError: No such service '65536'"},
      {"http://127.0.0.1:99999999999999999999/",
       "RWInetServiceNotFoundError: No such service '4294967295'"},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(connection_->OpenTarget(c.url, "", 0)) << c.url;
    Arg arg;
    EXPECT_EQ(connection_->Get("/", &arg, 0), 4U) << c.url;
    EXPECT_EQ(messageOf(*connection_), c.message);
  }
  EXPECT_EQ(connection_->Get(nullptr, nullptr, 0), 1U);
  EXPECT_EQ(messageOf(*connection_), "Transport internal error");
}

TEST_F(TransactionTest, RefusesBadUrlsAndCutsTheirMessage) {
  EXPECT_FALSE(connection_->OpenTarget("srv/path", "", 0));
  EXPECT_EQ(messageOf(*connection_), "URL 'srv/path' is invalid.");
  EXPECT_FALSE(connection_->OpenTarget(nullptr, nullptr, 0));
  EXPECT_EQ(messageOf(*connection_), "URL '' is invalid.");
  EXPECT_FALSE(connection_->OpenTarget(RWCString(3000, 'x').c_str(), "", 0));
  EXPECT_EQ(messageOf(*connection_), "URL '" + RWCString(1018, 'x'));
}

TEST(MapHttpStatus, CutsItsMessage) {
  char buffer[6] = "?????";
  EXPECT_EQ(MapHttpStatus(200, buffer, sizeof buffer), 0U);
  EXPECT_STREQ(buffer, "?????");
  EXPECT_EQ(MapHttpStatus(401, buffer, 4), 9U);
  EXPECT_STREQ(buffer, "HTTP?");
  EXPECT_EQ(MapHttpStatus(400, buffer, 4), 12U);
  EXPECT_EQ(MapHttpStatus(501, buffer, 4), 12U);
  EXPECT_EQ(MapHttpStatus(404, buffer, 4), 46U);
}

// The fields of the packed record are read as values ("+"): no reference to them is aligned.

/// What the progress function was told, and what it answers.
struct Calls {
  std::vector<std::string> log;
  std::size_t answerAt = 0;  // The call, from 1, that writes `answer`.
  std::uint32_t answer = 0;
};
Calls* calls = nullptr;

void ORLA_CALL onProgress(orla_progress_record* record, const void* data, std::uint32_t length) {
  EXPECT_EQ(+record->phase, 1U);
  EXPECT_EQ(+record->status, 6U);
  EXPECT_EQ(data != nullptr, length != 0);
  calls->log.push_back(std::to_string(record->byte_count) + ":" + std::to_string(length));
  if (data) {
    EXPECT_EQ(*static_cast<const char*>(data), 'a');
  }
  if (calls->log.size() == calls->answerAt) record->status = calls->answer;
}

class ReadBodyTest : public testing::Test {
 protected:
  ReadBodyTest() {
    calls = &calls_;
    std::memset(&record_, 0x55, sizeof record_);
    arg_.toFile = 1;
    arg_.file = &file_;
    arg_.byteCount = &byteCount_;
    arg_.progress = onProgress;
    arg_.record = &record_;
    EXPECT_EQ(file_.Open(path_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, CVekFile::kReplace,
                         FILE_ATTRIBUTE_NORMAL),
              0U);
  }

  Calls calls_;
  TempDir folder_;
  RWCString path_ = folder_.path("file");
  CVekFile file_;
  std::uint32_t byteCount_ = 0;
  orla_progress_record record_;
  Arg arg_;
};

TEST_F(ReadBodyTest, ReportsAPreviewAndThenEachPiece) {
  const PortalFixture wire(RWCString(1100, 'a'), {300, 300, 400, 100});
  ReadBody(wire.portal(), &arg_);
  EXPECT_THAT(calls_.log, ElementsAre("600:512", "1000:0", "1100:0"));
  EXPECT_EQ(byteCount_, 1100U);
  EXPECT_EQ(RWCString(record_.file_name), path_);
  EXPECT_EQ(record_.reserved[0], 0x55);
  EXPECT_EQ(file_.Close(true), 0U);
  EXPECT_EQ(folder_.read("file"), RWCString(1100, 'a'));
}

TEST_F(ReadBodyTest, MakesNoCallForFewerThan512Bytes) {
  ReadBody(PortalFixture(RWCString(511, 'a'), {1}).portal(), &arg_);
  EXPECT_THAT(calls_.log, ElementsAre());
  ReadBody(PortalFixture(RWCString(512, 'a')).portal(), &arg_);
  EXPECT_THAT(calls_.log, ElementsAre("1023:512"));
}

TEST_F(ReadBodyTest, DrainsTheRestWhenTheAgentRefuses) {
  const struct { std::uint32_t answer, code; } cases[] = {{11, 12}, {9, 13}};
  for (const auto& c : cases) {
    calls_ = {{}, 2, c.answer};
    arg_.errorCode = 0;
    byteCount_ = 0;
    const PortalFixture wire(RWCString(3000, 'a'), {600});
    ReadBody(wire.portal(), &arg_);
    EXPECT_EQ(arg_.errorCode, c.code);
    EXPECT_THAT(calls_.log, ElementsAre("600:512", "1200:0"));
    EXPECT_EQ(wire.unread(), "");
    EXPECT_EQ(byteCount_, 1200U);
  }
}

TEST_F(ReadBodyTest, FailsWhenTheFileTakesNothing) {
  file_.Close(false);
  const PortalFixture wire(RWCString(3000, 'a'), {600});
  ReadBody(wire.portal(), &arg_);
  EXPECT_EQ(arg_.errorCode, 1U);
  EXPECT_EQ(byteCount_, 0U);
  EXPECT_EQ(wire.unread(), "");
  EXPECT_THAT(calls_.log, ElementsAre());
}

TEST_F(ReadBodyTest, ReadsNothingForAnIncompleteRecord) {
  const PortalFixture wire("abc");
  for (Arg arg : {Arg{"", 0, 1, nullptr, &byteCount_, onProgress, &record_},
                  Arg{"", 0, 1, &file_, nullptr, onProgress, &record_},
                  Arg{"", 0, 1, &file_, &byteCount_, nullptr, &record_},
                  Arg{"", 0, 1, &file_, &byteCount_, onProgress, nullptr}})
    ReadBody(wire.portal(), &arg);
  EXPECT_EQ(wire.reads(), 0U);
}

TEST(ReadBody, KeepsTheTextWhateverItsPieces) {
  const RWCString text("some\0bytes", 10);
  forEverySplit(text, [&](PortalFixture& wire) {
    Arg arg;
    arg.errorCode = 3;  // Memory mode keeps the body all the same.
    ReadBody(wire.portal(), &arg);
    EXPECT_EQ(arg.textBody, text);
  });
}

TEST(NotifyProgress, CutsNamesAndKeepsTheCountBackOnStatus8) {
  orla_progress_record record;
  std::memset(&record, 0x55, sizeof record);
  const auto ignore = [](orla_progress_record*, const void*, std::uint32_t) ORLA_CALL {};
  const RWCString longName(300, 'n');
  EXPECT_EQ(NotifyProgress(ignore, &record, 1, 8, 7, longName.c_str(), nullptr, 0), 0U);
  EXPECT_EQ(RWCString(record.file_name), RWCString(259, 'n'));
  EXPECT_EQ(+record.byte_count, 0x55555555U);
  EXPECT_EQ(NotifyProgress(ignore, &record, 1, 6, 7, nullptr, nullptr, 0), 0U);
  EXPECT_EQ(RWCString(record.file_name), RWCString(259, 'n'));
  EXPECT_EQ(+record.byte_count, 7U);
  EXPECT_THROW(NotifyProgress(nullptr, nullptr, 1, 11, 0, nullptr, nullptr, 0), CVekExceptionImp);
}

}  // namespace
}  // namespace orla
