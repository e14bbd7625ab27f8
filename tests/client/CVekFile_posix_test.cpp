#include "platform/winapi.h"

#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "client/CVekFile.h"
#include "gmock/gmock.h"
#include "support/TempDir.h"

namespace orla {
namespace {

using testing::ElementsAre;

struct CVekFilePosixTest : testing::Test {
  std::uint32_t replace(const std::string& path) {
    if (const std::uint32_t code = file.Open(path.c_str(), GENERIC_WRITE, 1, CVekFile::kReplace, 0))
      return code;
    EXPECT_EQ(file.Write("new", 3), 3);
    return file.Close(true);
  }
  struct ::stat statusOf(const std::string& path) const {
    struct ::stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0);
    return status;
  }

  const test::TempDir folder;
  const std::string target = folder.path("target");
  CVekFile file;
};

TEST_F(CVekFilePosixTest, AReplacementKeepsTheModeOfTheOldFile) {
  folder.write("target", "old");
  for (const mode_t mode : {0600U, 0640U, 0755U}) {
    ASSERT_EQ(::chmod(target.c_str(), mode), 0);
    EXPECT_EQ(replace(target), 0U);
    EXPECT_EQ(statusOf(target).st_mode & 07777, mode);
  }
  const mode_t before = ::umask(027);
  EXPECT_EQ(replace(folder.path("first")), 0U);
  ::umask(before);
  EXPECT_EQ(statusOf(folder.path("first")).st_mode & 07777, 0640U);
}

TEST_F(CVekFilePosixTest, AReplacementReplacesALinkAndNotItsFile) {
  folder.write("file", "old");
  ASSERT_EQ(::symlink("file", target.c_str()), 0);
  EXPECT_EQ(replace(target), 0U);
  EXPECT_TRUE(S_ISREG(statusOf(target).st_mode));
  EXPECT_EQ(folder.read("file"), "old");
  EXPECT_EQ(folder.read("target"), "new");
}

TEST_F(CVekFilePosixTest, WhatIsNotARegularFileIsNeitherReplacedNorRead) {
  ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
  ASSERT_EQ(::symlink("/dev/null", folder.path("device").c_str()), 0);
  for (const char* const name : {"fifo", "device"}) {
    const std::string path = folder.path(name);
    const mode_t before = statusOf(path).st_mode;
    EXPECT_EQ(replace(path), 9U) << name;
    EXPECT_EQ(statusOf(path).st_mode, before) << name;
    EXPECT_EQ(file.Open(path.c_str(), GENERIC_READ, 1, OPEN_EXISTING, 0), 1U) << name;
  }
  EXPECT_EQ(file.Open("/proc/self/status", GENERIC_READ, 1, OPEN_EXISTING, 0), 1U);
  EXPECT_THAT(folder.names(), ElementsAre("device", "fifo"));
}

}  // namespace
}  // namespace orla
