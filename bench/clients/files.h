// Access to local files, for the clients whose library does not have it.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace bench {

/// A new file. Each write is one system call, because there is no buffer. Throws an exception on
/// failure.
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

/// Reads the file at `path` with as few system calls as possible. Throws an exception on failure.
Bytes readFile(const std::string& path);

/// Throws unless the file at `path` contains exactly `size` bytes of the pattern.
void requirePattern(const std::string& path, std::size_t size);

}  // namespace bench
