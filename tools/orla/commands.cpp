#include "commands.h"

#include <chrono>
#include <cstddef>
#include <type_traits>

#include "system.h"

namespace orla::cli {
namespace {

using Clock = std::chrono::steady_clock;

/// The library cuts longer answers of the server to this size.
constexpr std::uint32_t kAnswerSize = 64 * 1024;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::vector<const char*> pointers(const std::vector<std::string>& texts) {
  std::vector<const char*> result;
  result.reserve(texts.size() + 1);
  for (const std::string& text : texts) result.push_back(text.c_str());
  // The library requires an array even if there is no identity.
  result.push_back(nullptr);
  return result;
}

/// A running download. The record must be the first member, because the progress function receives
/// only the record's address and converts it to that of the Download.
struct Download {
  orla_progress_record record;
  const Progress* progress;
  std::uint64_t bytes;
  bool canceled;
};
static_assert(std::is_standard_layout_v<Download> && offsetof(Download, record) == 0);

/// Adds the bytes that were received since the previous call. The record's byte count has 32 bits
/// and wraps at 4 GiB, but download.bytes does not.
void countBytes(Download& download) {
  download.bytes += download.record.byte_count - static_cast<std::uint32_t>(download.bytes);
}

/// The progress function. It must not throw, because an exception cannot pass through the library.
extern "C" void ORLA_CALL onProgress(orla_progress_record* record, const void*,
                                     std::uint32_t) noexcept {
  auto& download = *reinterpret_cast<Download*>(record);
  countBytes(download);
  if (interrupted()) {
    download.canceled = true;
    record->status = ORLA_PROGRESS_CANCEL;
    return;
  }
  if (*download.progress) (*download.progress)(download.bytes);
}

Outcome askVersion(std::uint32_t handle) {
  Outcome outcome;
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  const auto start = Clock::now();
  outcome.status = ORLAGetVersion(handle, &major, &minor);
  outcome.seconds = secondsSince(start);
  outcome.result = std::to_string(major) + "." + std::to_string(minor);
  return outcome;
}

Outcome askName(const Request& request, std::uint32_t handle) {
  Outcome outcome;
  const std::vector<const char*> identities = pointers(request.identities);
  std::uint32_t size = kAnswerSize;
  // The library does not terminate an answer that fills the buffer. The buffer is therefore one
  // byte larger than the size that the library receives, and that byte stays zero.
  std::vector<char> answer(kAnswerSize + 1);
  const auto start = Clock::now();
  outcome.status = ORLAGetPackageName(handle, request.type,
                                      static_cast<std::uint32_t>(request.identities.size()),
                                      identities.data(), answer.data(), &size);
  outcome.seconds = secondsSince(start);
  outcome.result = answer.data();
  return outcome;
}

Outcome sendPackage(const Request& request, std::uint32_t handle) {
  Outcome outcome;
  const std::string path = libraryPath(request.file);
  const std::vector<const char*> identities = pointers(request.identities);
  // The buffer passes the name in and receives the answer.
  std::vector<char> answer(kAnswerSize + 1);
  if (request.name.size() >= answer.size()) {
    outcome.status = ORLA_ERROR_ARGUMENT;
    return outcome;
  }
  request.name.copy(answer.data(), request.name.size());
  std::uint32_t size = kAnswerSize;
  const auto start = Clock::now();
  outcome.status =
      ORLASendPackage(handle, request.type, static_cast<std::uint32_t>(request.identities.size()),
                      identities.data(), path.c_str(), answer.data(), &size);
  outcome.seconds = secondsSince(start);
  if (outcome.status == ORLA_OK) outcome.bytes = size;
  outcome.result = answer.data();
  return outcome;
}

Outcome getFile(const Request& request, std::uint32_t handle, const Progress& progress) {
  Outcome outcome;
  const std::string path = libraryPath(request.file);
  Download download{{}, &progress, 0, false};
  const auto start = Clock::now();
  outcome.status =
      ORLADownloadFile(handle, request.target.c_str(), path.c_str(), onProgress, &download.record,
                       request.counter.empty() ? nullptr : request.counter.c_str());
  outcome.seconds = secondsSince(start);
  if (outcome.status == ORLA_OK) countBytes(download);
  outcome.canceled = download.canceled && outcome.status == ORLA_ERROR_REQUEST;
  outcome.bytes = download.bytes;
  outcome.result = request.file;
  return outcome;
}

}  // namespace

const char* commandName(Command command) {
  switch (command) {
    case Command::kVersion:
      return "version";
    case Command::kName:
      return "name";
    case Command::kSend:
      return "send";
    default:
      return "get";
  }
}

Outcome perform(const Request& request, std::uint32_t handle, const Progress& progress) {
  switch (request.command) {
    case Command::kVersion:
      return askVersion(handle);
    case Command::kName:
      return askName(request, handle);
    case Command::kSend:
      return sendPackage(request, handle);
    default:
      return getFile(request, handle, progress);
  }
}

}  // namespace orla::cli
