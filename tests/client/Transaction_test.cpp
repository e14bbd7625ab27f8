// The port of a connection, and the body of a reply into a file.
#include "platform/winapi.h"

#include <cstring>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "client/CInetCntHandle.h"
#include "client/ReadBody.h"
#include "support/PortalFixture.h"
#include "support/TempDir.h"

namespace orla {
namespace {

using Arg = CInetCntHandle::CHttpRequestArg;

TEST(CInetCntHandle, PortIsTheNumberThatItsTextBeginsWith) {
  const std::vector<std::pair<const char*, std::uint32_t>> cases = {
      {"", 80}, {"8080", 8080}, {"81x", 81}, {"x", 0}, {"-2", ~0U}, {"99999999999", ~0U}};
  for (const auto& [text, port] : cases) EXPECT_EQ(CInetCntHandle::PortNumber(text), port) << text;
}

/// What the progress function was told.
std::vector<std::string> calls;

void ORLA_CALL onProgress(orla_progress_record* record, const void* data, std::uint32_t length) {
  EXPECT_TRUE(record->phase == 1 && record->status == 6 && record->reserved[0] == 0x55);
  calls.push_back(std::to_string(record->byte_count) + ":" + std::to_string(length) +
                  (data ? std::string(1, *static_cast<const char*>(data)) : ""));
}

TEST(ReadBody, ReportsAPreviewAndThenEachPiece) {
  const test::TempDir folder;
  const RWCString path = folder.path("file");
  const struct {
    std::size_t length;
    std::vector<std::size_t> pieces;
    std::vector<std::string> calls;
  } cases[] = {{1100, {300, 300, 400, 100}, {"600:512a", "1000:0", "1100:0"}},
               {512, {1}, {"512:512a"}},
               {511, {1}, {}}};
  for (const auto& c : cases) {
    CVekFile file;
    EXPECT_EQ(file.Open(path.c_str(), GENERIC_WRITE, 1, CVekFile::kReplace, 0), 0U);
    std::uint32_t byteCount = 0;
    orla_progress_record record;
    std::memset(&record, 0x55, sizeof record);
    Arg arg{"", 0, 1, &file, &byteCount, onProgress, &record};
    calls.clear();
    ReadBody(test::PortalFixture(RWCString(c.length, 'a'), c.pieces).portal(), &arg);
    EXPECT_EQ(calls, c.calls);
    EXPECT_EQ(byteCount, c.length);
    EXPECT_TRUE(calls.empty() || record.file_name == path);
    EXPECT_EQ(file.Close(true), 0U);
    EXPECT_EQ(folder.read("file"), RWCString(c.length, 'a'));
    EXPECT_EQ(NotifyProgress(onProgress, &record, 1, 6, 1, RWCString(300, 'n').c_str(), nullptr, 0),
              0U);
    EXPECT_EQ(RWCString(record.file_name), RWCString(259, 'n'));
  }
}

TEST(ReadBody, HoldsAtMost64MiBInMemory) {
  const std::size_t limit = 64 * 1024 * 1024;
  const test::PortalFixture longest(RWCString(limit, 'a')), tooLong(RWCString(limit + 1, 'a'));
  Arg fits, refused;
  ReadBody(longest.portal(), &fits);
  EXPECT_EQ(fits.textBody.size(), limit);
  EXPECT_THROW(ReadBody(tooLong.portal(), &refused), std::length_error);
  EXPECT_LE(refused.textBody.size(), limit);
}

}  // namespace
}  // namespace orla
