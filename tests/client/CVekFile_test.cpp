#include "client/CVekFile.h"

#include "platform/winapi.h"

#include <memory>
#include <string>

#include "gmock/gmock.h"
#include "support/TempDir.h"

namespace orla {
namespace {

using testing::ElementsAre;

class CVekFileTest : public testing::Test {
 protected:
  std::uint32_t openToRead(const std::string& path) {
    return file.Open(path.c_str(), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0);
  }
  void replace(const std::string& bytes) {
    const std::string target = folder.path("target");
    EXPECT_EQ(file.Open(target.c_str(), GENERIC_WRITE, 1, CVekFile::kReplace, 0), 0u);
    EXPECT_TRUE(std::string(file.CurrentName()).starts_with(folder.path("$Ve")));
    EXPECT_EQ(file.TargetName(), target);
    EXPECT_EQ(file.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size())), bytes.size());
  }

  const test::TempDir folder;
  CVekFile file;
  char buffer[4] = {};
  std::uint32_t high = 7;
};

TEST_F(CVekFileTest, ReadsAndCopiesInPieces) {
  ASSERT_EQ(openToRead(folder.write("from", std::string("ab\0cde", 6))), 0u);
  EXPECT_EQ(file.GetSize(&high) + high, 6u);
  EXPECT_EQ(std::string(buffer, file.Read(buffer, 3) == 3 ? 3 : 0), std::string("ab\0", 3));
  CVekFile to;
  EXPECT_EQ(file.CopyBlock(to, buffer, 1), -1) << "nothing to write to";
  ASSERT_EQ(to.Open(folder.path("to").c_str(), GENERIC_WRITE, 0, CREATE_ALWAYS, 0), 0u);
  EXPECT_EQ(file.CopyBlock(to, buffer, 4), 2);
  EXPECT_EQ(file.CopyBlock(to, buffer, 4), 0) << "the end of the file";
  EXPECT_EQ(to.Close(false), 0u);
  EXPECT_EQ(folder.read("to"), "de");
  EXPECT_EQ(file.CloseAndDelete(), 0u);
  EXPECT_THAT(folder.names(), ElementsAre("to"));
}

TEST_F(CVekFileTest, OpenTellsWhyItFailed) {
  folder.write("file", "x");
  const std::string deep = folder.path("missing/file");
  const std::string longest = folder.path(std::string(518 - folder.path().size(), 'n'));
  const struct {
    std::string path;
    std::uint32_t access, disposition, expected;
  } cases[] = {
      {"", GENERIC_READ, OPEN_EXISTING, 6},
      {longest, GENERIC_READ, OPEN_ALWAYS, 1},
      {longest + "n", GENERIC_READ, OPEN_EXISTING, 6},
      {"file", GENERIC_WRITE, CVekFile::kReplace, 6},
      {folder.path("missing"), GENERIC_READ, OPEN_EXISTING, 14},
      {deep, GENERIC_WRITE, CVekFile::kReplace, 1},
      {deep, GENERIC_READ, OPEN_ALWAYS, 1},
      {folder.path(), GENERIC_WRITE, OPEN_EXISTING, 1},
  };
  for (const auto& [path, access, disposition, expected] : cases)
    EXPECT_EQ(file.Open(path.c_str(), access, 1, disposition, 0), expected) << path;
  EXPECT_THAT(folder.names(), ElementsAre("file"));
  EXPECT_EQ(openToRead(folder.path("file")), 0u) << "works after every failure";
  EXPECT_EQ(openToRead(folder.path("file")), 9u) << "already open";
  EXPECT_EQ(file.IsDirectory(folder.path().c_str()), 0u);
  EXPECT_EQ(file.IsDirectory(folder.path("file").c_str()), 14u);
}

TEST_F(CVekFileTest, OnlyACommitPutsTheReplacementInPlace) {
  replace("old");
  EXPECT_EQ(file.Close(true), 0u) << "there was no target";
  EXPECT_EQ(file.CurrentName(), folder.path("target"));
  replace("dropped");
  EXPECT_EQ(file.Close(false), 0u);
  replace("deleted");
  EXPECT_EQ(file.CloseAndDelete(), 0u);
  replace("destroyed");
  std::destroy_at(&file);
  std::construct_at(&file);
  EXPECT_THAT(folder.names(), ElementsAre("target"));
  replace("new");
  EXPECT_EQ(folder.read("target"), "old");
  EXPECT_EQ(file.Close(true), 0u);
  EXPECT_EQ(folder.read("target"), "new");
  EXPECT_THAT(folder.names(), ElementsAre("target"));
}

}  // namespace
}  // namespace orla
