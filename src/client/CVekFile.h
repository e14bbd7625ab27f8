// One local file: the package of an upload, or the target of a download.
//
// Replacement. With disposition 1 all bytes are written to a temporary file in the target's
// directory. The target is unchanged until Close(true) replaces it by the temporary file. If the
// file is closed or destroyed without that, the temporary file is deleted.
//
// Results are the library's codes: 0 success; 1 general failure; 6 bad argument; 9 already open,
// not open, or closing, deleting or replacing failed; 14 no such file or directory.
//
// Paths are zero-terminated, in the system's own encoding. One thread uses an object at a time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orla {

class CVekFile {
 public:
  /// The size of the buffer for a path, including its terminating zero.
  static constexpr std::size_t kNameSize = 520;
  /// The disposition that selects replacement.
  static constexpr std::uint32_t kReplace = 1;

  CVekFile() noexcept = default;
  CVekFile(const CVekFile&) = delete;
  CVekFile& operator=(const CVekFile&) = delete;

  // The order of the virtual operations is part of the binary layout, so new ones must be last.

  /// Closes the file. An open replacement is dropped, never committed.
  virtual ~CVekFile();

  /// Opens `name` with the access, share mode, disposition and attributes of CreateFileA, for
  /// sequential use. Returns 6 if `name` is null, empty or too long, or has no directory part for a
  /// replacement; 14 for disposition 3 (open existing) if there is no such file; 9 if this object
  /// is already open; 1 for any other failure.
  virtual std::uint32_t Open(const char* name, std::uint32_t access, std::uint32_t share,
                             std::uint32_t disposition, std::uint32_t attributes);

  /// Returns 0 if `path` is a directory, 14 if it is not or does not exist, and 6 if it is null.
  /// Does not use the object's state.
  virtual std::uint32_t IsDirectory(const char* path) const;

  /// Reads up to `size` bytes into `buffer` and writes them to `sink`. Returns the number written,
  /// 0 at the end of the file, or -1 on failure.
  virtual std::int32_t CopyBlock(CVekFile& sink, void* buffer, std::uint32_t size);

  /// Closes the file. A replacement replaces the target if `commit` is true; otherwise it is
  /// dropped. Returns 0 on success. Returns 9 if the object is not open, or if closing or replacing
  /// failed; the temporary file is deleted then. The object is closed in any case.
  virtual std::uint32_t Close(bool commit);

  /// Closes the file and deletes it; for a replacement, the temporary file. Returns 0 on success or
  /// if the object is not open, and 9 if the file could not be deleted.
  virtual std::uint32_t CloseAndDelete();

  /// Reads once, up to `size` bytes and at most 2^31 - 1. Returns the number read, 0 at the end of
  /// the file, or -1 on failure, for a null buffer or if the object is not open.
  virtual std::int32_t Read(void* buffer, std::uint32_t size);

  /// Writes `size` bytes, at most 2^31 - 1. Returns the number written, or -1 as Read does.
  virtual std::int32_t Write(const void* buffer, std::uint32_t size);

  virtual bool IsOpen() const;

  /// Returns true for a file or a directory. Does not use the object's state.
  virtual bool Exists(const char* path) const;

  /// Returns the low 32 bits of the file's size and sets `*high`, which must not be null, to the
  /// high ones. Returns 0 if the object is not open, and 0xFFFFFFFF in both if the size is
  /// unavailable.
  virtual std::uint32_t GetSize(std::uint32_t* high) const;

  /// The path of the open file. For a replacement it is the temporary file until the commit.
  const char* CurrentName() const noexcept { return currentName_; }
  /// The path that the caller opened.
  const char* TargetName() const noexcept { return targetName_; }

 private:
  bool CreateTemporary();
  bool MoveIntoPlace();
  bool Flush();
  bool CloseFile();

  char currentName_[kNameSize] = "";
  char targetName_[kNameSize] = "";
  std::uint32_t access_ = 0;
  std::uint32_t share_ = 0;
  std::uint32_t disposition_ = 0;
  std::uint32_t attributes_ = 0;
  void* handle_ = nullptr;
};

}  // namespace orla
