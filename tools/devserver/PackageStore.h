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

/// Sole owner of a file descriptor; closes it.
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

/// The server's folder of packages, flat and without links: whatever name a client gives, nothing
/// outside the folder is read or written. Any thread may call any operation. Failures of the file
/// system are std::system_error.
class PackageStore {
 public:
  /// A stored package, open for reading. It stays whole while another takes its place.
  struct Package {
    FileDescriptor file;
    std::uint64_t size;
  };

  /// A package on its way in: a temporary file in the folder that takes its name only when it is
  /// committed, so that of two uploads to one name the later one wins, whole. Deletes what is not
  /// committed. The store must outlive it.
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

  /// The packages of a folder, the newest first; of many only some, but total counts them all.
  struct Listing {
    struct Entry {
      std::string name;
      std::uint64_t size = 0;  // bytes
      std::chrono::system_clock::time_point stored;
    };
    std::vector<Entry> newest;
    std::uint64_t total = 0;
  };

  /// Makes the folder when it is missing.
  explicit PackageStore(const std::filesystem::path& folder);

  /// The stored package; none when the name is unfit, unknown, or not that of a plain file.
  std::optional<Package> open(const std::string& name) const;

  /// What open() would find, at most so many.
  Listing list(std::size_t most) const;

 private:
  FileDescriptor folder_;
};

/// Whether a package may be stored under the name, on any system that agents run on: 1 to 200 bytes,
/// no control characters, none of / \ : * ? " < > |, no leading dot or blank, no trailing one, and
/// not the name of a device.
bool isPackageName(std::string_view name);

/// The name under which a package of this type and these identities is stored, such as
/// "7-ws0042-inventory.pkg". What is not a letter, a digit, "-", "." or above 0x7F becomes "_".
/// The same command gives the same name, but unlike ones may share a name.
std::string compileName(const Command& command);

}  // namespace orla::devserver
