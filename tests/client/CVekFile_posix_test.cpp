#include "platform/winapi.h"

#include <filesystem>
#include <string>

#include "client/CVekFile.h"
#include "support/TempDir.h"

namespace orla {
namespace {

// Only here do folders have more than 260 characters, so that the temporary file's path may be too
// long though the target's is not.
TEST(CVekFile, TemporaryFileThatDoesNotFitIsNotLeftBehind) {
  const test::TempDir folder;
  for (const std::size_t length : {480u, 517u}) {
    std::string path = folder.path();
    while (length - path.size() > 200) path += '/' + std::string(150, 'd');
    path += '/' + std::string(length - path.size() - 1, 'e');
    ASSERT_TRUE(std::filesystem::create_directories(path));
    CVekFile file;
    EXPECT_EQ(file.Open((path + "/t").c_str(), GENERIC_WRITE, 1, CVekFile::kReplace, 0),
              length == 480 ? 0u : 1u);
    EXPECT_EQ(file.Close(true), length == 480 ? 0u : 9u);
    EXPECT_EQ(std::filesystem::is_empty(path), length != 480);
  }
}

}  // namespace
}  // namespace orla
