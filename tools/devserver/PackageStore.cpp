#include "PackageStore.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <memory>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace orla::devserver {
namespace {

constexpr std::size_t kMaxNameSize = 200;

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int checked(int descriptor, const std::string& what) {
  if (descriptor < 0) fail(what);
  return descriptor;
}

bool isLetterOrDigit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

/// Returns true if Windows opens a device under this name. Windows ignores the extension of such a
/// name.
bool isDeviceName(std::string_view name) {
  std::string stem(name.substr(0, name.find('.')));
  stem.erase(stem.find_last_not_of(' ') + 1);
  std::transform(stem.begin(), stem.end(), stem.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  if (stem == "CON" || stem == "PRN" || stem == "AUX" || stem == "NUL") return true;
  return stem.size() == 4 && (stem.starts_with("COM") || stem.starts_with("LPT")) &&
         stem[3] >= '0' && stem[3] <= '9';
}

}  // namespace

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

FileDescriptor::~FileDescriptor() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

namespace {

/// Returns a new name. It starts with a dot, so that no request can read the file.
std::string temporaryName() {
  static std::atomic<unsigned> uploads{0};
  return ".upload-" + std::to_string(::getpid()) + "-" + std::to_string(++uploads);
}

}  // namespace

PackageStore::Upload::Upload(const PackageStore& store, std::string name)
    : store_(store), name_(std::move(name)), temporary_(temporaryName()) {
  file_ = FileDescriptor(checked(::openat(store.directory_.get(), temporary_.c_str(),
                                          O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644),
                                 "cannot create " + temporary_));
}

PackageStore::Upload::~Upload() {
  if (!committed_) ::unlinkat(store_.directory_.get(), temporary_.c_str(), 0);
}

void PackageStore::Upload::write(const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(file_.get(), data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail("cannot write " + name_);
    data += written;
    size -= static_cast<std::size_t>(written);
  }
}

void PackageStore::Upload::commit() {
  const int directory = store_.directory_.get();
  if (::renameat(directory, temporary_.c_str(), directory, name_.c_str()) != 0) {
    fail("cannot store " + name_);
  }
  committed_ = true;
}

PackageStore::PackageStore(const std::filesystem::path& directory) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error)
    throw std::system_error(error, "--dir: cannot create the directory " + directory.string());
  directory_ = FileDescriptor(checked(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC),
                                      "cannot open " + directory.string()));
}

std::optional<PackageStore::Package> PackageStore::open(const std::string& name) const {
  if (!isPackageName(name)) return std::nullopt;
  // Without O_NONBLOCK, opening a FIFO in the directory would block.
  FileDescriptor file(
      ::openat(directory_.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (file.get() < 0 || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  return Package{std::move(file), static_cast<std::uint64_t>(status.st_size)};
}

PackageStore::Listing PackageStore::list(std::size_t limit) const {
  // Each call opens a separate descriptor, because two threads may list the packages at the same
  // time, and the position in the directory belongs to the descriptor.
  const std::string what = "cannot list the packages";
  const int descriptor =
      checked(::openat(directory_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC), what);
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(::fdopendir(descriptor), ::closedir);
  if (!directory) {
    const int error = errno;
    ::close(descriptor);
    errno = error;
    fail(what);
  }
  const auto nextEntry = [&] {
    errno = 0;
    const dirent* entry = ::readdir(directory.get());
    if (entry == nullptr && errno != 0) fail(what);
    return entry;
  };
  Listing listing;
  std::multimap<std::chrono::system_clock::time_point, Listing::Entry> byTime;
  while (const dirent* entry = nextEntry()) {
    struct stat status {};
    if (!isPackageName(entry->d_name) ||
        ::fstatat(directory_.get(), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(status.st_mode)) {
      continue;
    }
    ++listing.total;
    const auto sinceEpoch = std::chrono::seconds(status.st_mtim.tv_sec) +
                            std::chrono::nanoseconds(status.st_mtim.tv_nsec);
    const std::chrono::system_clock::time_point stored(sinceEpoch);
    byTime.emplace(
        stored, Listing::Entry{entry->d_name, static_cast<std::uint64_t>(status.st_size), stored});
    if (byTime.size() > limit) byTime.erase(byTime.begin());
  }
  std::for_each(byTime.rbegin(), byTime.rend(),
                [&](auto& found) { listing.newest.push_back(std::move(found.second)); });
  return listing;
}

bool isPackageName(std::string_view name) {
  if (name.empty() || name.size() > kMaxNameSize) return false;
  constexpr std::string_view kForbidden = "/\\:*?\"<>|";
  const bool bad = std::any_of(name.begin(), name.end(), [&](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F || kForbidden.find(c) != std::string_view::npos;
  });
  const auto isEdge = [](char c) { return c == '.' || c == ' '; };
  return !bad && !isEdge(name.front()) && !isEdge(name.back()) && !isDeviceName(name);
}

std::string compileName(const Command& command) {
  std::string name = std::to_string(command.type);
  for (const std::string& identity : command.identities) {
    name += '-';
    std::transform(identity.begin(), identity.end(), std::back_inserter(name), [](char c) {
      const bool kept = isLetterOrDigit(c) || c == '-' || c == '.' || (c & 0x80) != 0;
      return kept ? c : '_';
    });
  }
  return name + ".pkg";
}

}  // namespace orla::devserver
