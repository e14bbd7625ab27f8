// Access to local files, for every client without its own.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace bench {

/// A new file, written without a buffer: each write is one system call. Failures throw.
class OutFile {
 public:
  explicit OutFile(const std::string& path);
  OutFile(const OutFile&) = delete;
  OutFile& operator=(const OutFile&) = delete;
  ~OutFile();

  void write(const char* data, std::size_t size);

 private:
  int descriptor_;
};

/// The bytes of a whole file.
struct Bytes {
  std::unique_ptr<char[]> data;
  std::size_t size = 0;
};

/// Reads the file at `path` with as few system calls as possible. Failures throw.
Bytes readFile(const std::string& path);

/// Throws unless the file at `path` contains exactly `size` bytes of the pattern.
void requirePattern(const std::string& path, std::size_t size);

}  // namespace bench
