// The server commands of the library-wide object: their targets and their answers.
//
//   version   /P?ORLACommand=GetVersion
//   name      /P?ORLACommand=CompileName&Type=T&Identity0=V0&Identity1=V1...&Encoding=UTF-8
//   upload    /P?ORLACommand=UploadPackage&Type=T&Identity0=V0...&Encoding=UTF-8&FileName=N
//   download  the agent's target, followed by &Counter=C if a counter is given
//
// P is the path of the connection's URL, T the type in decimal; V and N are percent-encoded.
#include "platform/winapi.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>
#include <string_view>
#include <utility>

#include "client/CVekExceptionImp.h"
#include "client/CVekFile.h"
#include "client/CVekInet.h"
#include "client/PercentEncode.h"
#include "client/VersionText.h"

namespace orla {

namespace {

/// The size of a buffer for a target or for one escaped value, including the terminating zero.
constexpr std::size_t kTargetSize = 2070;

constexpr std::uint32_t kBytesUnknown = 0xFFFFFFFF;

/// A package is read into its string in pieces of at most this many bytes. Lengthening a string
/// fills it with zeros, so the piece must be small enough to stay in the processor's cache.
constexpr std::uint32_t kReadPiece = 256 * 1024;

/// Appends the target of a command to the text in a buffer.
class TargetText {
 public:
  TargetText(char* buffer, std::size_t size) noexcept
      : buffer_(buffer), size_(size), start_(std::strlen(buffer)), length_(start_) {}

  bool fits() const noexcept { return fits_; }

  TargetText& append(std::string_view text) noexcept {
    fits_ = fits_ && text.size() < size_ - length_;
    if (!fits_) return *this;
    std::memcpy(buffer_ + length_, text.data(), text.size());
    length_ += text.size();
    return *this;
  }

  /// Appends `value` percent-encoded. If its encoded form needs more than kTargetSize bytes,
  /// appends it unchanged, because a target with it may still fit.
  TargetText& appendEscaped(const char* value) noexcept {
    const std::size_t length = std::strlen(value);
    char escaped[kTargetSize];
    auto size = static_cast<std::uint32_t>(sizeof escaped);
    if (length < kTargetSize &&
        PercentEncode(value, static_cast<std::uint32_t>(length), escaped, &size))
      return append({escaped, size - 1});
    return append({value, length});
  }

  /// Terminates the text. If a part of it did not fit or `isWhole` is false, restores the text that
  /// was in the buffer before and returns false.
  bool end(bool isWhole = true) noexcept {
    const bool isGood = isWhole && fits_;
    buffer_[isGood ? length_ : start_] = '\0';
    return isGood;
  }

 private:
  char* const buffer_;
  const std::size_t size_;
  const std::size_t start_;
  std::size_t length_;
  bool fits_ = true;
};

/// Copies an answer as strncpy does: padded with zeros up to `size` bytes, and not terminated if it
/// fills them.
void copyAnswer(const RWCString& answer, char* buffer, std::uint32_t size) {
  const std::size_t length = std::min(std::strlen(answer.c_str()), std::size_t{size});
  std::memcpy(buffer, answer.data(), length);
  std::memset(buffer + length, 0, size - length);
}

/// Returns the whole file at `path`. Throws CVekExceptionImp.
RWCString readPackage(const char* path) {
  CVekFile file;
  if (const std::uint32_t code =
          file.Open(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL))
    raiseError(code);
  std::uint32_t high = 0;
  const std::uint32_t size = file.GetSize(&high);
  if (high != 0) raiseError(ORLA_ERROR_TOO_LARGE);

  RWCString bytes;
  try {
    bytes.reserve(size);
  } catch (const std::exception&) {
    raiseError(ORLA_ERROR_TOO_LARGE);
  }
  while (bytes.size() < size) {
    const std::size_t start = bytes.size();
    const auto wanted = std::min(size - static_cast<std::uint32_t>(start), kReadPiece);
    bytes.resize(start + wanted);
    const std::int32_t count = file.Read(&bytes[start], wanted);
    bytes.resize(start + static_cast<std::size_t>(std::max(count, 0)));
    if (count <= 0) break;
  }
  file.Close(true);
  if (bytes.size() != size) raiseError(ORLA_ERROR_SHORT_READ);
  return bytes;
}

/// Runs a command and returns its status, or the code of the CVekExceptionImp that it throws.
/// Running out of memory outside of the transaction is a general failure, because an export must
/// not throw.
template <class Command>
std::uint32_t statusOf(Command command) {
  try {
    return command();
  } catch (const CVekExceptionImp& error) {
    return error.GetErrorCode();
  } catch (const std::exception&) {
    return ORLA_ERROR_GENERAL;
  }
}

}  // namespace

bool CVekInet::BuildCommand(const RWCString& path, std::uint32_t type, std::uint32_t count,
                            const char* const* identities, bool upload, char* target,
                            std::size_t size) {
  if (!target) return false;
  target[0] = '\0';
  type &= 0xFFFF;
  count &= 0xFFFF;
  TargetText text(target, size);
  text.append("/").append(path).append("?ORLACommand=");
  if (type == 0) return text.append("GetVersion").end();
  text.append(upload ? "UploadPackage&Type=" : "CompileName&Type=").append(std::to_string(type));
  for (std::uint32_t i = 0; i < count; ++i) {
    if (!identities || !identities[i] || !text.fits()) return text.end(false);
    text.append("&Identity").append(std::to_string(i)).append("=").appendEscaped(identities[i]);
  }
  return text.append("&Encoding=UTF-8").end();
}

bool CVekInet::BuildUpload(const RWCString& path, std::uint32_t type, std::uint32_t count,
                           const char* const* identities, const char* fileName, char* target,
                           std::size_t size) {
  if (!BuildCommand(path, type, count, identities, true, target, size)) return false;
  if (!fileName || *fileName == '\0') return true;
  return TargetText(target, size).append("&FileName=").appendEscaped(fileName).end();
}

std::uint32_t CVekInet::GetVersion(std::uint32_t handle, std::uint16_t* major,
                                   std::uint16_t* minor) {
  *major = 0;
  *minor = 0;
  const std::uint32_t status = statusOf([&]() -> std::uint32_t {
    const Connection connection = FindHandle(handle);
    if (!connection) return ORLA_ERROR_ARGUMENT;
    const CInetCntHandle::Server server = connection->GetServer();
    char target[kTargetSize];
    if (!BuildCommand(server.path, 0, 0, nullptr, false, target, sizeof target))
      return ORLA_ERROR_ARGUMENT;
    CInetCntHandle::CHttpRequestArg arg;
    if (const std::uint32_t code = connection->Get(server, target, &arg, 0)) {
      SetMessageFrom(*connection);
      return code;
    }
    if (!parseVersionText(arg.textBody.c_str(), major, minor)) return ORLA_ERROR_NOT_MODIFIED;
    return ORLA_OK;
  });
  // HTTP status 304 and a malformed version text are the same failure to the agent.
  if (status != ORLA_ERROR_NOT_MODIFIED) return status;
  SetCode(ORLA_ERROR_VERSION_TEXT);
  return ORLA_ERROR_TRANSPORT;
}

std::uint32_t CVekInet::GetPackageName(std::uint32_t handle, std::uint32_t type,
                                       std::uint32_t count, const char* const* identities,
                                       char* name, std::uint32_t* size) {
  return statusOf([&]() -> std::uint32_t {
    if (!name || !size || !identities) return ORLA_ERROR_ARGUMENT;
    name[0] = '\0';
    const Connection connection = FindHandle(handle);
    if (!connection) return ORLA_ERROR_ARGUMENT;
    const CInetCntHandle::Server server = connection->GetServer();
    char target[kTargetSize];
    // If the target cannot be built, the request is sent with an empty one, because agents expect
    // the server's refusal as the result.
    BuildCommand(server.path, type, count, identities, false, target, sizeof target);
    CInetCntHandle::CHttpRequestArg arg;
    if (const std::uint32_t code = connection->Get(server, target, &arg, 0)) {
      SetMessageFrom(*connection);
      return code;
    }
    copyAnswer(arg.textBody, name, *size);
    const std::size_t length = std::strlen(arg.textBody.c_str());
    if (*size > length) *size = static_cast<std::uint32_t>(length);
    return ORLA_OK;
  });
}

std::uint32_t CVekInet::SendPackage(std::uint32_t handle, std::uint32_t type, std::uint32_t count,
                                    const char* const* identities, const char* path, char* name,
                                    std::uint32_t* size) {
  if (!size) return ORLA_ERROR_ARGUMENT;
  // A capacity with the sign bit set counts as 0.
  const std::uint32_t capacity =
      *size <= std::uint32_t{std::numeric_limits<std::int32_t>::max()} ? *size : 0;
  *size = kBytesUnknown;
  return statusOf([&]() -> std::uint32_t {
    const Connection connection = FindHandle(handle);
    if (!connection) return ORLA_ERROR_ARGUMENT;
    const CInetCntHandle::Server server = connection->GetServer();
    char target[kTargetSize];
    if (!BuildUpload(server.path, type, count, identities, name, target, sizeof target))
      return ORLA_ERROR_ARGUMENT;
    RWCString package = readPackage(path);
    const auto sent = static_cast<std::uint32_t>(package.size());
    CInetCntHandle::CHttpRequestArg arg;
    if (const std::uint32_t code = connection->Post(server, target, std::move(package), &arg, 0)) {
      SetMessageFrom(*connection);
      return code;
    }
    *size = sent;
    if (capacity != 0 && name) copyAnswer(arg.textBody, name, capacity);
    return ORLA_OK;
  });
}

std::uint32_t CVekInet::DownloadFile(std::uint32_t handle, const char* target, const char* path,
                                     orla_progress_fn progress, orla_progress_record* record,
                                     const char* counter) {
  const std::uint32_t status = statusOf([&]() -> std::uint32_t {
    if (handle == 0 || !target || !path) return ORLA_ERROR_ARGUMENT;
    const Connection connection = FindHandle(handle);
    if (!connection) return ORLA_ERROR_ARGUMENT;
    const CInetCntHandle::Server server = connection->GetServer();
    RWCString request = target;
    if (counter) request += RWCString("&Counter=") + counter;

    CVekFile file;
    std::uint32_t byteCount = 0;
    CInetCntHandle::CHttpRequestArg arg;
    // If the file cannot be created, the request is sent anyway and its reply is dropped.
    arg.errorCode =
        file.Open(path, GENERIC_WRITE, FILE_SHARE_READ, CVekFile::kReplace, FILE_ATTRIBUTE_NORMAL);
    arg.toFile = 1;
    arg.file = &file;
    arg.byteCount = &byteCount;
    arg.progress = progress;
    arg.record = record;
    if (const std::uint32_t code = connection->Get(server, request.c_str(), &arg, 0)) {
      file.Close(false);
      SetMessageFrom(*connection);
      return code;
    }
    // The command succeeds only if the complete file is in place.
    if (const std::uint32_t code = file.Close(true)) return code;
    record->byte_count = byteCount;
    return ORLA_OK;
  });
  if (status == ORLA_ERROR_NOT_FOUND) return ORLA_ERROR_NO_SUCH_DOWNLOAD;
  return status;
}

}  // namespace orla
