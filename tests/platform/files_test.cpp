#include "platform/winapi.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace orla {
namespace {

namespace fs = std::filesystem;

class FilesTest : public testing::Test {
 protected:
  FilesTest() { fs::create_directories(root_ / "folder"); }
  ~FilesTest() override { fs::remove_all(root_); }

  std::string path(const char* name) const { return (root_ / name).make_preferred().string(); }

  /// Opens the file, writes `bytes` and closes it: 0, or the code of what failed.
  DWORD write(const char* name, DWORD disposition, const std::string& bytes = "") const {
    const HANDLE file =
        CreateFileA(path(name).c_str(), GENERIC_WRITE, 0, nullptr, disposition, 0, nullptr);
    DWORD written = 0;
    const bool done = file != INVALID_HANDLE_VALUE &&
                      WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, 0);
    return done && CloseHandle(file) ? 0 : GetLastError();
  }
  DWORD move(const char* from, const char* to) const {
    return MoveFileA(path(from).c_str(), path(to).c_str()) ? 0 : GetLastError();
  }
  DWORD remove(const char* name) const {
    return DeleteFileA(path(name).c_str()) ? 0 : GetLastError();
  }

  const fs::path root_ =
      fs::temp_directory_path() / ("orla-platform-" + std::to_string(std::random_device()()));
};

TEST_F(FilesTest, RefusedCallsHaveTheirCodes) {
  EXPECT_EQ(write("file", OPEN_EXISTING), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(write("missing/file", CREATE_ALWAYS), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(write("file", OPEN_ALWAYS), 0U);
  EXPECT_EQ(write("file", 77), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(write("folder", OPEN_ALWAYS), ERROR_ACCESS_DENIED);
  EXPECT_EQ(remove("folder"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(remove("missing"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(remove("missing/file"), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(move("missing", "to"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(move("file", "missing/to"), ERROR_PATH_NOT_FOUND);
}

TEST_F(FilesTest, KeepTheirBytesUntilReplacedAndMoveOntoNothing) {
  EXPECT_EQ(write("from", CREATE_ALWAYS, "123456"), 0U);
  EXPECT_EQ(write("from", OPEN_ALWAYS, "ab"), 0U);
  EXPECT_EQ(write("to", OPEN_ALWAYS, "old"), 0U);
  EXPECT_EQ(move("from", "to"), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(write("to", CREATE_ALWAYS), 0U);
  EXPECT_EQ(fs::file_size(root_ / "to"), 0U);
  EXPECT_EQ(remove("to") + move("from", "to"), 0U);
  const HANDLE file =
      CreateFileA(path("to").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  DWORD high = 7, got = 0;
  EXPECT_TRUE(GetFileSize(file, &high) == 6 && high == 0);
  EXPECT_FALSE(WriteFile(file, "x", 1, &got, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(CloseHandle(file));
}

}  // namespace
}  // namespace orla
