// A folder of its own for a test, removed with all that is in it at the end. A file that cannot be
// removed, because it was left open where that matters, fails the test.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace orla::test {

class TempDir {
 public:
  TempDir() {
    std::random_device random;
    do {
      path_ = std::filesystem::temp_directory_path() / ("orla-test-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  ~TempDir() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
    if (error) ADD_FAILURE() << "cannot remove " << path_ << ": " << error.message();
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  std::string path() const { return path_.string(); }
  /// The path of `name` in the folder, with the platform's separators; "/" in `name` is one.
  std::string path(const std::string& name) const {
    return (path_ / name).make_preferred().string();
  }
  bool exists(const std::string& name) const { return std::filesystem::exists(path_ / name); }
  /// The names of all that is in the folder, sorted.
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  /// Makes or replaces the file, and returns its path.
  std::string write(const std::string& name, const std::string& bytes) const {
    std::ofstream file(path_ / name, std::ios::binary);
    file << bytes << std::flush;
    if (!file) ADD_FAILURE() << "cannot write " << path(name);
    return path(name);
  }
  std::string read(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    if (!file) ADD_FAILURE() << "cannot read " << path(name);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  std::filesystem::path path_;
};

}  // namespace orla::test
