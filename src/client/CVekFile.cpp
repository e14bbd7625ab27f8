#include "client/CVekFile.h"

#include "platform/winapi.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "orla/ORLACl.h"
#include "platform/PathSeparator.h"

namespace orla {

namespace {

// The code for a file in the wrong state is the same as that for HTTP status 401.
constexpr auto kWrongState = ORLA_ERROR_UNAUTHORIZED;

constexpr char kTemporaryPrefix[] = "$Ve";
// The most that the system appends to a directory's path to name a temporary file.
constexpr std::size_t kTemporaryNameRoom = 16;

/// Limits one read or write, so that its count is never negative, which would mean a failure.
DWORD pieceOf(std::uint32_t size) noexcept {
  return std::min<std::uint32_t>(size, std::numeric_limits<std::int32_t>::max());
}

}  // namespace

CVekFile::~CVekFile() {
  if (handle_ && disposition_ == kReplace) {
    CloseFile();
    DeleteFileA(currentName_);
  }
  CVekFile::Close(true);
}

std::uint32_t CVekFile::Open(const char* name, std::uint32_t access, std::uint32_t share,
                             std::uint32_t disposition, std::uint32_t attributes) {
  if (handle_) return kWrongState;
  if (!name) return ORLA_ERROR_ARGUMENT;
  const auto* const end = static_cast<const char*>(std::memchr(name, '\0', kNameSize));
  if (!end || end == name) return ORLA_ERROR_ARGUMENT;
  std::copy(name, end + 1, currentName_);
  std::copy(name, end + 1, targetName_);
  access_ = access;
  share_ = share;
  disposition_ = disposition;
  attributes_ = attributes;

  if (disposition_ == kReplace) {
    char* const separator = std::strrchr(currentName_, kPathSeparator);
    if (!separator) return ORLA_ERROR_ARGUMENT;
    separator[1] = '\0';
    if (!CreateTemporary()) return ORLA_ERROR_GENERAL;
  }
  const HANDLE file = CreateFileA(currentName_, access_, share_, nullptr,
                                  disposition_ == kReplace ? OPEN_EXISTING : disposition_,
                                  attributes_ | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    handle_ = file;
    return ORLA_OK;
  }
  // A temporary file that cannot be opened is not deleted, because another program, for example a
  // virus scanner, has it open.
  const DWORD error = GetLastError();
  const bool missing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
  return disposition_ == OPEN_EXISTING && missing ? ORLA_ERROR_NO_SUCH_FILE : ORLA_ERROR_GENERAL;
}

/// Creates a temporary file in the directory `currentName_`, which is then set to its path.
bool CVekFile::CreateTemporary() {
  char path[kNameSize + kTemporaryNameRoom];
  if (!GetTempFileNameA(currentName_, kTemporaryPrefix, 0, path)) return false;
  const std::size_t length = std::strlen(path);
  if (length >= kNameSize) {
    DeleteFileA(path);
    return false;
  }
  std::copy_n(path, length + 1, currentName_);
  return true;
}

std::uint32_t CVekFile::IsDirectory(const char* path) const {
  if (!path) return ORLA_ERROR_ARGUMENT;
  const DWORD attributes = GetFileAttributesA(path);
  const bool directory =
      attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
  return directory ? ORLA_OK : ORLA_ERROR_NO_SUCH_FILE;
}

std::int32_t CVekFile::CopyBlock(CVekFile& sink, void* buffer, std::uint32_t size) {
  if (!buffer) return -1;
  const std::int32_t got = Read(buffer, size);
  return got < 1 ? got : sink.Write(buffer, static_cast<std::uint32_t>(got));
}

std::uint32_t CVekFile::Close(bool commit) {
  if (!handle_) return kWrongState;
  const bool flushed = disposition_ != kReplace || !commit || Flush();
  const bool closed = CloseFile() && flushed;
  bool done = closed;
  if (disposition_ == kReplace) {
    // A file that the system failed to close may lack bytes, so it never replaces the target.
    done = closed && (!commit || MoveIntoPlace());
    if (!done || !commit) DeleteFileA(currentName_);
  }
  return done ? ORLA_OK : kWrongState;
}

/// Waits until the written bytes are on the disk: the old file is deleted before the new one is
/// renamed, so a power failure must not leave an empty file. Returns false if bytes are lost. Other
/// errors mean that the file system does not support this.
bool CVekFile::Flush() {
  if (FlushFileBuffers(handle_)) return true;
  const DWORD error = GetLastError();
  return error != ERROR_WRITE_FAULT && error != ERROR_DISK_FULL;
}

/// Closes the handle. The object is closed even if the system reports a failure.
bool CVekFile::CloseFile() {
  const bool closed = CloseHandle(handle_);
  handle_ = nullptr;
  return closed;
}

/// Replaces the target by the closed temporary file. The target is deleted first, because a file
/// cannot be moved over another.
bool CVekFile::MoveIntoPlace() {
  if (!DeleteFileA(targetName_) && GetLastError() != ERROR_FILE_NOT_FOUND) return false;
  if (!MoveFileA(currentName_, targetName_)) return false;
  std::copy_n(targetName_, kNameSize, currentName_);
  return true;
}

std::uint32_t CVekFile::CloseAndDelete() {
  if (!handle_) return ORLA_OK;
  CloseFile();
  return DeleteFileA(currentName_) ? ORLA_OK : kWrongState;
}

std::int32_t CVekFile::Read(void* buffer, std::uint32_t size) {
  DWORD got = 0;
  if (!buffer || !handle_ || !ReadFile(handle_, buffer, pieceOf(size), &got, nullptr)) return -1;
  return static_cast<std::int32_t>(got);
}

std::int32_t CVekFile::Write(const void* buffer, std::uint32_t size) {
  DWORD written = 0;
  if (!buffer || !handle_ || !WriteFile(handle_, buffer, pieceOf(size), &written, nullptr)) {
    return -1;
  }
  return static_cast<std::int32_t>(written);
}

bool CVekFile::IsOpen() const {
  return handle_ != nullptr;
}

bool CVekFile::Exists(const char* path) const {
  return path && GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES;
}

std::uint32_t CVekFile::GetSize(std::uint32_t* high) const {
  *high = 0;
  if (!IsOpen()) return 0;
  DWORD rest = 0;
  // The low half of a size can have the value that means failure, so the last error decides.
  SetLastError(ERROR_SUCCESS);
  const DWORD low = GetFileSize(handle_, &rest);
  if (low == INVALID_FILE_SIZE && GetLastError() != ERROR_SUCCESS) rest = low;
  *high = rest;
  return low;
}

}  // namespace orla
