#include "client/CVekFile.h"

#include "platform/winapi.h"

#include <memory>
#include <string>

#include "gmock/gmock.h"
#include "support/TempDir.h"

namespace orla {
namespace {

using testing::ElementsAre;

struct CVekFileTest : testing::Test {
  void replace(const std::string& bytes) {
    EXPECT_EQ(file.Open(target.c_str(), GENERIC_WRITE, 1, CVekFile::kReplace, 0), 0u);
    EXPECT_TRUE(std::string(file.CurrentName()).starts_with(folder.path("$Ve")));
    EXPECT_EQ(file.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size())), bytes.size());
  }

  const test::TempDir folder;
  const std::string target = folder.path("target");
  CVekFile file;
};

TEST_F(CVekFileTest, ReadsAndCopiesInPieces) {
  char buffer[4];
  std::uint32_t high = 7;
  const std::string from = folder.write("from", std::string("ab\0cde", 6));
  ASSERT_EQ(file.Open(from.c_str(), GENERIC_READ, 1, OPEN_EXISTING, 0), 0u);
  EXPECT_EQ(file.Open(from.c_str(), GENERIC_READ, 1, OPEN_EXISTING, 0), 9u) << "already open";
  EXPECT_EQ(file.GetSize(&high) + high, 6u);
  EXPECT_EQ(std::string(buffer, file.Read(buffer, 3) == 3 ? 3 : 0), std::string("ab\0", 3));
  CVekFile to;
  EXPECT_EQ(file.CopyBlock(to, buffer, 1), -1) << "nothing to write to";
  ASSERT_EQ(to.Open(folder.path("to").c_str(), GENERIC_WRITE, 0, CREATE_ALWAYS, 0), 0u);
  EXPECT_EQ(file.CopyBlock(to, buffer, 4), 2);
  EXPECT_EQ(file.CopyBlock(to, buffer, 4), 0) << "the end of the file";
  EXPECT_EQ(to.Close(false), 0u);
  EXPECT_EQ(folder.read("to"), "de");
  EXPECT_EQ(to.Open(folder.path("to").c_str(), GENERIC_WRITE, 0, TRUNCATE_EXISTING, 0), 0u);
  EXPECT_EQ(to.Close(false), 0u);
  EXPECT_EQ(folder.read("to"), "");
  EXPECT_EQ(file.CloseAndDelete(), 0u);
  EXPECT_THAT(folder.names(), ElementsAre("to"));
  EXPECT_EQ(file.IsDirectory(folder.path().c_str()), 0u);
  EXPECT_EQ(file.IsDirectory(folder.path("to").c_str()), 14u);
}

TEST_F(CVekFileTest, OnlyACommitPutsTheReplacementInPlace) {
  replace("old");
  EXPECT_EQ(file.Close(true), 0u) << "there was no target";
  EXPECT_EQ(file.CurrentName(), target);
  replace("destroyed");
  std::destroy_at(&file);
  std::construct_at(&file);
  EXPECT_THAT(folder.names(), ElementsAre("target"));
  EXPECT_FALSE(MoveFileA(folder.write("other", "new").c_str(), target.c_str()));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(folder.read("target"), "old");
}

}  // namespace
}  // namespace orla
