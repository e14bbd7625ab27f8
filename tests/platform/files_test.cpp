#include "platform/winapi.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <string>

#include "platform/PathSeparator.h"

namespace orla {
namespace {

namespace fs = std::filesystem;

class FilesTest : public testing::Test {
 protected:
  FilesTest() {
    fs::create_directory(root_);
    fs::create_directory(root_ / "folder");
  }
  ~FilesTest() override { fs::remove_all(root_); }

  std::string path(const char* name) const { return (root_ / name).make_preferred().string(); }

  static HANDLE open(const std::string& path, DWORD access, DWORD disposition) {
    return CreateFileA(path.c_str(), access, 0, nullptr, disposition, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
  }
  std::string make(const char* name, const std::string& bytes) const {
    const HANDLE file = open(path(name), GENERIC_WRITE, CREATE_ALWAYS);
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
    EXPECT_EQ(written, bytes.size());
    EXPECT_TRUE(CloseHandle(file));
    return path(name);
  }
  /// The whole of a file; "?" when it cannot be opened.
  std::string content(const char* name) const {
    const HANDLE file = open(path(name), GENERIC_READ, OPEN_EXISTING);
    if (file == INVALID_HANDLE_VALUE) return "?";
    char buffer[100];
    DWORD got = 0;
    EXPECT_TRUE(ReadFile(file, buffer, sizeof buffer, &got, nullptr));
    EXPECT_TRUE(CloseHandle(file));
    return std::string(buffer, got);
  }

  const fs::path root_ =
      fs::temp_directory_path() / ("orla-platform-" + std::to_string(std::random_device()()));
};

TEST_F(FilesTest, DispositionsSettleWhatBecomesOfTheFile) {
  constexpr DWORD kOpened = 0;
  const struct {
    DWORD disposition;
    DWORD whenMissing;
    DWORD whenThere;
    const char* content;  // After an opening of a file with "old" in it.
  } rows[] = {
      {CREATE_NEW, kOpened, ERROR_FILE_EXISTS, "old"},
      {CREATE_ALWAYS, kOpened, kOpened, ""},
      {OPEN_EXISTING, ERROR_FILE_NOT_FOUND, kOpened, "old"},
      {OPEN_ALWAYS, kOpened, kOpened, "old"},
      {TRUNCATE_EXISTING, ERROR_FILE_NOT_FOUND, kOpened, ""},
  };
  const auto result = [&](DWORD disposition, const char* name) {
    const HANDLE file = open(path(name), GENERIC_READ | GENERIC_WRITE, disposition);
    if (file == INVALID_HANDLE_VALUE) return GetLastError();
    EXPECT_TRUE(CloseHandle(file));
    return kOpened;
  };
  for (const auto& row : rows) {
    EXPECT_EQ(result(row.disposition, "missing"), row.whenMissing) << row.disposition;
    EXPECT_EQ(content("missing"), row.whenMissing == kOpened ? "" : "?") << row.disposition;
    DeleteFileA(path("missing").c_str());
    make("there", "old");
    EXPECT_EQ(result(row.disposition, "there"), row.whenThere) << row.disposition;
    EXPECT_EQ(content("there"), row.content) << row.disposition;
  }
}

TEST_F(FilesTest, RefusedOpeningsHaveTheirCodes) {
  const struct {
    std::string path;
    DWORD access;
    DWORD disposition;
    DWORD code;
  } rows[] = {
      {path("missing"), GENERIC_READ, OPEN_EXISTING, ERROR_FILE_NOT_FOUND},
      {path("missing/file"), GENERIC_READ, OPEN_EXISTING, ERROR_PATH_NOT_FOUND},
      {path("missing/file"), GENERIC_WRITE, CREATE_ALWAYS, ERROR_PATH_NOT_FOUND},
      {make("file", ""), GENERIC_READ, 77, ERROR_INVALID_PARAMETER},
      {path("file/below"), GENERIC_READ, OPEN_EXISTING, ERROR_PATH_NOT_FOUND},
      {path("folder"), GENERIC_READ, OPEN_EXISTING, ERROR_ACCESS_DENIED},
      {path("folder"), GENERIC_WRITE, OPEN_ALWAYS, ERROR_ACCESS_DENIED},
      {"", GENERIC_READ, OPEN_EXISTING, ERROR_PATH_NOT_FOUND},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(open(row.path, row.access, row.disposition), INVALID_HANDLE_VALUE) << row.path;
    EXPECT_EQ(GetLastError(), row.code) << row.path;
  }
}

TEST_F(FilesTest, ReadsToTheEndAndTellsTheSize) {
  const std::string file = make("file", "12345");
  const HANDLE handle = open(file, GENERIC_READ, OPEN_EXISTING);
  DWORD high = 7;
  EXPECT_EQ(GetFileSize(handle, &high), 5U);
  EXPECT_EQ(high, 0U);
  char buffer[4];
  DWORD got = 0;
  for (const DWORD expected : {4U, 1U, 0U}) {
    EXPECT_TRUE(ReadFile(handle, buffer, sizeof buffer, &got, nullptr));
    EXPECT_EQ(got, expected);
  }
  EXPECT_FALSE(WriteFile(handle, "x", 1, &got, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
  EXPECT_FALSE(SetEvent(handle));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_TRUE(CloseHandle(handle));
}

TEST_F(FilesTest, AttributesTellFoldersFromFiles) {
  EXPECT_NE(GetFileAttributesA(path("folder").c_str()) & FILE_ATTRIBUTE_DIRECTORY, 0U);
  EXPECT_EQ(GetFileAttributesA(make("file", "").c_str()) & FILE_ATTRIBUTE_DIRECTORY, 0U);
  EXPECT_EQ(GetFileAttributesA(path("missing").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(GetFileAttributesA(path("missing/file").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

TEST_F(FilesTest, MoveNeverReplaces) {
  const std::string from = make("from", "new");
  const std::string to = make("to", "old");
  EXPECT_FALSE(MoveFileA(from.c_str(), to.c_str()));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(content("from") + content("to"), "newold");
  EXPECT_TRUE(DeleteFileA(to.c_str()));
  EXPECT_TRUE(MoveFileA(from.c_str(), to.c_str()));
  EXPECT_EQ(content("from") + content("to"), "?new");
  EXPECT_FALSE(MoveFileA(from.c_str(), path("other").c_str()));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(MoveFileA(to.c_str(), path("missing/to").c_str()));
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

TEST_F(FilesTest, DeleteTakesFilesOnly) {
  EXPECT_FALSE(DeleteFileA(path("folder").c_str()));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_FALSE(DeleteFileA(path("missing").c_str()));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(DeleteFileA(path("missing/file").c_str()));
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

TEST_F(FilesTest, TemporaryFilesAreMadeEmptyUnderTheirNumber) {
  const std::string folder = path("folder");
  std::string before;
  for (const std::string& asked : {folder, folder + kPathSeparator}) {
    char made[300];
    const UINT number = GetTempFileNameA(asked.c_str(), "$Vexyz", 0, made);
    ASSERT_NE(number, 0U);
    const std::string stem = folder + kPathSeparator + "$Ve";
    const std::string file = made;
    ASSERT_EQ(file.substr(0, stem.size()), stem);
    std::size_t digits = 0;
    EXPECT_EQ(std::stoul(file.substr(stem.size()), &digits, 16), number);
    EXPECT_EQ(file.substr(stem.size() + digits), ".tmp");
    EXPECT_NE(made, before);
    EXPECT_EQ(fs::file_size(made), 0U);
    before = made;
  }
  char made[300];
  EXPECT_EQ(GetTempFileNameA(path("missing").c_str(), "$Ve", 0, made), 0U);
  EXPECT_EQ(GetLastError(), ERROR_DIRECTORY);
}

}  // namespace
}  // namespace orla
