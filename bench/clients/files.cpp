#include "clients/files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "pattern.h"

namespace bench {

namespace {

#ifdef _WIN32
constexpr int kBinary = O_BINARY;
#else
constexpr int kBinary = 0;
#endif

int check(int result, const std::string& path) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), path);
  return result;
}

/// Reads `size` bytes, in several reads if necessary. Returns a smaller number only if the file
/// ends.
std::size_t readUpTo(int descriptor, char* data, std::size_t size, const std::string& path) {
  constexpr std::size_t kMostAtOnce = 1 << 30;
  std::size_t done = 0;
  while (done < size) {
    const auto piece = static_cast<unsigned>(std::min(size - done, kMostAtOnce));
    const int got = check(static_cast<int>(::read(descriptor, data + done, piece)), path);
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

}  // namespace

OutFile::OutFile(const std::string& path)
    : descriptor_(check(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | kBinary, 0666), path)) {
}

OutFile::~OutFile() {
  ::close(descriptor_);
}

void OutFile::write(const char* data, std::size_t size) {
  while (size > 0) {
    const int count =
        check(static_cast<int>(::write(descriptor_, data, static_cast<unsigned>(size))), "write");
    data += count;
    size -= static_cast<std::size_t>(count);
  }
}

Bytes readFile(const std::string& path) {
  const int descriptor = check(::open(path.c_str(), O_RDONLY | kBinary), path);
  struct stat status {};
  check(::fstat(descriptor, &status), path);
  Bytes bytes;
  bytes.size = static_cast<std::size_t>(status.st_size);
  bytes.data = std::make_unique_for_overwrite<char[]>(bytes.size);
  const std::size_t got = readUpTo(descriptor, bytes.data.get(), bytes.size, path);
  ::close(descriptor);
  if (got != bytes.size) throw std::runtime_error(path + ": shorter than its size");
  return bytes;
}

void requirePattern(const std::string& path, std::size_t size) {
  const std::string pattern = makePattern();
  std::string piece(kPatternSize, '\0');
  const int descriptor = check(::open(path.c_str(), O_RDONLY | kBinary), path);
  std::size_t total = 0;
  bool same = true;
  while (const std::size_t got = readUpTo(descriptor, piece.data(), piece.size(), path)) {
    same = same && std::memcmp(piece.data(), pattern.data(), got) == 0;
    total += got;
  }
  ::close(descriptor);
  if (total != size || !same) throw std::runtime_error(path + ": not what the server sent");
}

}  // namespace bench
