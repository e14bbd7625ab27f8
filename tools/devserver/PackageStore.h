#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CommandTarget.h"

namespace orla::devserver {

/// Owns a file descriptor and closes it.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept;
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;
  ~FileDescriptor();

  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

/// The directory of the packages. Links and subdirectories are not followed, so nothing outside the
/// directory is read or written, whatever name a client sends. Every function may be called on any
/// thread. Every function except open() throws std::system_error if the file system fails.
class PackageStore {
 public:
  /// A stored package, open for reading. Its content stays the same if an upload replaces it.
  struct Package {
    FileDescriptor file;
    std::uint64_t size;
  };

  /// A package that is being uploaded. It is a temporary file in the directory, which commit()
  /// renames. If two uploads have the same name, the one that is committed last replaces the other.
  /// The destructor deletes the file if it was not committed. The store must outlive the upload.
  class Upload {
   public:
    Upload(const PackageStore& store, std::string name);
    ~Upload();
    Upload(const Upload&) = delete;
    Upload& operator=(const Upload&) = delete;

    void write(const char* data, std::size_t size);
    void commit();

   private:
    const PackageStore& store_;
    std::string name_;
    std::string temporary_;
    FileDescriptor file_;
    bool committed_ = false;
  };

  /// The newest packages, the newest first, and the number of all packages.
  struct Listing {
    struct Entry {
      std::string name;
      std::uint64_t size = 0;  // bytes
      std::chrono::system_clock::time_point stored;
    };
    std::vector<Entry> newest;
    std::uint64_t total = 0;
  };

  /// Creates the directory if it is missing.
  explicit PackageStore(const std::filesystem::path& directory);

  /// Opens the package. Returns none if the name is invalid or unknown, if it is not that of a
  /// regular file, or if the file cannot be opened.
  std::optional<Package> open(const std::string& name) const;

  /// Lists the newest packages, at most `limit` of them. A package is a regular file for whose name
  /// isPackageName() returns true.
  Listing list(std::size_t limit) const;

 private:
  FileDescriptor directory_;
};

/// Returns true if agents on every system can use the name for a file: it has 1 to 200 bytes, no
/// control characters, none of / \ : * ? " < > |, no dot or space at either end, and is not the
/// name of a Windows device.
bool isPackageName(std::string_view name);

/// Returns the name of a package with this type and these identities, such as
/// "7-ws0042-inventory.pkg". Every byte of an identity becomes "_", unless it is an ASCII letter, a
/// digit, "-", "." or above 0x7F. Equal commands have equal names, but different commands may have
/// the same name, too.
std::string compileName(const Command& command);

}  // namespace orla::devserver
