#include "platform/winapi.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>

namespace orla {
namespace {

namespace fs = std::filesystem;

TEST(Files, KeepTheirBytesUntilReplacedAndMoveOntoNothing) {
  const std::string name = "orla-platform-" + std::to_string(std::random_device()());
  const fs::path root = fs::temp_directory_path() / name;
  const auto path = [&](const char* file) { return (root / file).make_preferred().string(); };
  const auto open = [&](const char* file, DWORD disposition) -> DWORD {
    const HANDLE opened =
        CreateFileA(path(file).c_str(), GENERIC_WRITE, 0, nullptr, disposition, 0, nullptr);
    return opened != INVALID_HANDLE_VALUE && CloseHandle(opened) ? 0 : GetLastError();
  };
  fs::create_directories(root / "folder");
  std::ofstream(root / "from") << "123456";
  EXPECT_EQ(open("from", OPEN_ALWAYS) + open("to", OPEN_ALWAYS), 0U);
  EXPECT_FALSE(MoveFileA(path("from").c_str(), path("to").c_str()));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(fs::file_size(root / "from"), 6U);
  EXPECT_EQ(open("from", CREATE_ALWAYS), 0U);
  EXPECT_EQ(fs::file_size(root / "from"), 0U);
  EXPECT_EQ(open("folder", OPEN_ALWAYS), ERROR_ACCESS_DENIED);
  fs::remove_all(root);
}

}  // namespace
}  // namespace orla
