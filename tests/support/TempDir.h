// A directory for one test. The destructor removes it with its content. A file that cannot be removed
// fails the test: on Windows, that is a file that is still open.
#pragma once

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <set>
#include <string>

namespace orla::test {

class TempDir {
 public:
  TempDir() {
    const std::string name = "orla-test-" + std::to_string(std::random_device()());
    path_ = std::filesystem::temp_directory_path() / name;
    EXPECT_TRUE(std::filesystem::create_directory(path_));
  }
  ~TempDir() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
    if (error) ADD_FAILURE() << "cannot remove " << path_ << ": " << error.message();
  }

  std::string path() const { return path_.string(); }
  /// The path of `name` in the directory. Each "/" in `name` becomes the platform's separator.
  std::string path(const std::string& name) const {
    return (path_ / name).make_preferred().string();
  }
  std::set<std::string> names() const {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
      found.insert(entry.path().filename().string());
    return found;
  }

  std::string write(const std::string& name, const std::string& bytes) const {
    EXPECT_TRUE(std::ofstream(path_ / name, std::ios::binary) << bytes << std::flush);
    return path(name);
  }
  std::string read(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  std::filesystem::path path_;
};

}  // namespace orla::test
