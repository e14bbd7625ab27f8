// Local files, the same way for every client that does not bring its own.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace bench {

/// A new file, written without a buffer: each write is one system call, as large as the client makes
/// it. Failures throw.
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

/// Reads the file at `path` in as few system calls as there can be. Failures throw.
Bytes readFile(const std::string& path);

/// Throws unless the file at `path` holds `size` bytes of the pattern.
void requirePattern(const std::string& path, std::size_t size);

}  // namespace bench
