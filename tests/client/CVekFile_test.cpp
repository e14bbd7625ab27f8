#include "client/CVekFile.h"

#include "platform/winapi.h"

#include <filesystem>
#include <memory>
#include <string>

#include "gmock/gmock.h"
#include "support/TempDir.h"

namespace orla {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class CVekFileTest : public testing::Test {
 protected:
  /// Opens for writing with disposition 1, and for reading with any other.
  std::uint32_t open(const std::string& path, std::uint32_t disposition) {
    return file.Open(path.c_str(), disposition == CVekFile::kReplace ? GENERIC_WRITE : GENERIC_READ,
                     FILE_SHARE_READ, disposition, FILE_ATTRIBUTE_NORMAL);
  }
  std::uint32_t replace(const std::string& bytes) {
    EXPECT_EQ(open(folder.path("target"), CVekFile::kReplace), 0u);
    EXPECT_NE(file.CurrentName(), folder.path("target"));
    EXPECT_THAT(file.CurrentName(), HasSubstr("$Ve"));
    EXPECT_EQ(file.TargetName(), folder.path("target"));
    return static_cast<std::uint32_t>(
        file.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size())));
  }

  const test::TempDir folder;
  CVekFile file;
  char buffer[4] = {};
  std::uint32_t high = 7;
};

TEST_F(CVekFileTest, ReadsAndCopiesInPieces) {
  ASSERT_EQ(open(folder.write("from", std::string("ab\0cde", 6)), OPEN_EXISTING), 0u);
  EXPECT_EQ(open(folder.path("from"), OPEN_EXISTING), 9u) << "already open";
  EXPECT_EQ(file.GetSize(&high), 6u);
  EXPECT_EQ(high, 0u);
  EXPECT_EQ(file.Read(buffer, 3), 3);
  EXPECT_EQ(std::string(buffer, 3), std::string("ab\0", 3));
  EXPECT_EQ(file.Read(nullptr, 3), -1);
  EXPECT_EQ(file.Write("x", 1), -1) << "not open for writing";

  CVekFile to;
  EXPECT_EQ(file.CopyBlock(to, buffer, 1), -1) << "nothing to write to";
  ASSERT_EQ(to.Open(folder.path("to").c_str(), GENERIC_WRITE, 0, CREATE_ALWAYS, 0), 0u);
  EXPECT_EQ(file.CopyBlock(to, nullptr, 2), -1);
  EXPECT_EQ(file.CopyBlock(to, buffer, 4), 2);
  EXPECT_EQ(to.Close(false), 0u);
  EXPECT_EQ(folder.read("to"), "de");
  EXPECT_EQ(file.CopyBlock(to, buffer, 4), 0) << "the end of the file writes nothing";
  EXPECT_EQ(file.CloseAndDelete(), 0u);
  EXPECT_THAT(folder.names(), ElementsAre("to"));
}

TEST_F(CVekFileTest, ClosedObjectRefuses) {
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(file.Read(buffer, 1), -1);
  EXPECT_EQ(file.Write(buffer, 1), -1);
  EXPECT_EQ(file.GetSize(&high), 0u);
  EXPECT_EQ(high, 0u);
  EXPECT_EQ(file.Close(true), 9u);
  EXPECT_EQ(file.CloseAndDelete(), 0u);
}

TEST_F(CVekFileTest, OpenTellsWhyItFailed) {
  folder.write("file", "x");
  const std::string deep = folder.path("missing/file");
  const std::string longest = folder.path(std::string(518 - folder.path().size(), 'n'));
  const struct {
    std::string path;
    std::uint32_t disposition, expected;
  } cases[] = {
      {"", OPEN_EXISTING, 6},
      {longest + "n", OPEN_EXISTING, 6},
      {longest + "n", CVekFile::kReplace, 6},
      {"file", CVekFile::kReplace, 6},
      {folder.path("missing"), OPEN_EXISTING, 14},
      {deep, OPEN_EXISTING, 14},
      {deep, CVekFile::kReplace, 1},
      {deep, OPEN_ALWAYS, 1},
      {folder.path(), OPEN_EXISTING, 1},
  };
  for (const auto& [path, disposition, expected] : cases) {
    const DWORD access = disposition == OPEN_EXISTING ? GENERIC_WRITE : GENERIC_READ;
    EXPECT_EQ(file.Open(path.c_str(), access, 1, disposition, 0), expected) << path;
    EXPECT_FALSE(file.IsOpen());
  }
  EXPECT_EQ(file.Open(nullptr, GENERIC_READ, 1, OPEN_EXISTING, 0), 6u);
  EXPECT_THAT(folder.names(), ElementsAre("file"));
  EXPECT_EQ(longest.size(), 519u);
  EXPECT_NE(open(longest, OPEN_EXISTING), 6u) << "no bad argument";
  EXPECT_EQ(open(folder.path("file"), OPEN_EXISTING), 0u) << "works after every failure";
}

TEST_F(CVekFileTest, OnlyACommitPutsTheReplacementInPlace) {
  EXPECT_EQ(replace("old"), 3u);
  EXPECT_EQ(file.Close(true), 0u) << "there was no target";
  EXPECT_EQ(file.CurrentName(), folder.path("target"));
  EXPECT_EQ(replace("dropped"), 7u);
  EXPECT_EQ(file.Close(false), 0u);
  EXPECT_EQ(replace("deleted"), 7u);
  EXPECT_EQ(file.CloseAndDelete(), 0u);
  EXPECT_EQ(replace("destroyed"), 9u);
  std::destroy_at(&file);
  std::construct_at(&file);
  EXPECT_EQ(folder.read("target"), "old");
  EXPECT_THAT(folder.names(), ElementsAre("target"));

  EXPECT_EQ(replace("new"), 3u);
  EXPECT_EQ(folder.read("target"), "old");
  EXPECT_EQ(file.Close(true), 0u);
  EXPECT_EQ(folder.read("target"), "new");

  // A folder in the target's place cannot be deleted.
  std::filesystem::remove(folder.path("target"));
  std::filesystem::create_directory(folder.path("target"));
  EXPECT_EQ(replace("new"), 3u);
  EXPECT_EQ(file.Close(true), 9u);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_THAT(folder.names(), ElementsAre("target"));
}

TEST_F(CVekFileTest, TellsFilesFromFolders) {
  const std::string name = folder.write("file", "x");
  EXPECT_EQ(file.IsDirectory(folder.path().c_str()), 0u);
  EXPECT_EQ(file.IsDirectory(name.c_str()), 14u);
  EXPECT_EQ(file.IsDirectory(folder.path("missing").c_str()), 14u);
  EXPECT_EQ(file.IsDirectory(nullptr), 6u);
  EXPECT_TRUE(file.Exists(name.c_str()));
  EXPECT_FALSE(file.Exists(folder.path("missing").c_str()));
  EXPECT_FALSE(file.Exists(nullptr));
}

}  // namespace
}  // namespace orla
