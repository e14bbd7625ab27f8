#include "platform/winapi.h"

#include <filesystem>
#include <string>

#include "client/CVekFile.h"
#include "support/TempDir.h"

namespace orla {

// Only here do folders have more than 260 characters, so that the temporary file's path may be too
// long though the target's is not.
TEST(CVekFile, TemporaryFileThatDoesNotFitIsNotLeftBehind) {
  const test::TempDir folder;
  std::string path = folder.path() + "/" + std::string(250, 'd') + "/";
  path += std::string(517 - path.size(), 'e');
  std::filesystem::create_directories(path);
  CVekFile file;
  EXPECT_EQ(file.Open((path + "/t").c_str(), GENERIC_WRITE, 1, CVekFile::kReplace, 0), 1u);
  EXPECT_TRUE(std::filesystem::is_empty(path));
}

}  // namespace orla
