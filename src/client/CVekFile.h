// One local file: what the upload reads, and what the download writes and puts in place.
//
// Replacement. A file opened with disposition 1 is written to a temporary file beside it, and the
// target stays as it is until Close(true) moves the temporary file over it. A closed or destroyed
// replacement that was not committed leaves no temporary file behind.
//
// Results are the library's codes: 0 success; 1 general failure; 6 bad argument; 9 already open,
// not open, or not closed, deleted or replaced; 14 no such file or folder.
//
// Paths are zero-terminated, in the system's own encoding. One thread uses an object at a time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orla {

class CVekFile {
 public:
  /// The room for a path, its terminating zero included.
  static constexpr std::size_t kNameSize = 520;
  /// The disposition that selects replacement.
  static constexpr std::uint32_t kReplace = 1;

  CVekFile() noexcept = default;
  CVekFile(const CVekFile&) = delete;
  CVekFile& operator=(const CVekFile&) = delete;

  // The order of the virtual operations is part of the class's form: new ones go last.

  /// Closes the file; an open replacement is dropped, never committed.
  virtual ~CVekFile();

  /// Opens `name` with the access, share mode, disposition and attributes of CreateFileA, for
  /// sequential use. 6: `name` is null, empty or does not fit, or names no folder where a
  /// replacement is wanted. 14: disposition 3 (open existing) and no such file. 1: any other
  /// failure. 9: already open.
  virtual std::uint32_t Open(const char* name, std::uint32_t access, std::uint32_t share,
                             std::uint32_t disposition, std::uint32_t attributes);

  /// 0 when `path` is a folder, 14 when it is none, 6 for null. Does not look at the object.
  virtual std::uint32_t IsDirectory(const char* path) const;

  /// Reads up to `size` bytes into `buffer` and writes them to `sink`: the number written; 0 at the
  /// end of the file, -1 on failure.
  virtual std::int32_t CopyBlock(CVekFile& sink, void* buffer, std::uint32_t size);

  /// Closes the file. A replacement takes the target's place when `commit` is set, else it is
  /// dropped. 0 means that it was closed and, where asked for, is in place; 9 that it was not open,
  /// or that this failed, and then the replacement is gone. The object is closed either way.
  virtual std::uint32_t Close(bool commit);

  /// Closes the file and deletes it (of a replacement, the temporary file). 0 also when it was not
  /// open; 9 when it could not be deleted.
  virtual std::uint32_t CloseAndDelete();

  /// Reads once, up to `size` bytes and at most 2^31 - 1: the number read, 0 at the end of the
  /// file, -1 on failure, for a null buffer or a file that is not open.
  virtual std::int32_t Read(void* buffer, std::uint32_t size);

  /// Writes `size` bytes, at most 2^31 - 1: the number written; -1 as for Read.
  virtual std::int32_t Write(const void* buffer, std::uint32_t size);

  virtual bool IsOpen() const;

  /// True for a file or a folder; does not look at the object.
  virtual bool Exists(const char* path) const;

  /// The low 32 bits of the file's size, the rest in `*high`, which must not be null. 0 when the
  /// file is not open; 0xFFFFFFFF in both when the size could not be had.
  virtual std::uint32_t GetSize(std::uint32_t* high) const;

  /// The path of the open file: of a replacement, the temporary file until it is committed.
  const char* CurrentName() const noexcept { return currentName_; }
  /// The path that the caller opened.
  const char* TargetName() const noexcept { return targetName_; }

 private:
  bool CreateTemporary();
  bool MoveIntoPlace();
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
