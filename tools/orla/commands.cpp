#include "commands.h"

#include <cstddef>
#include <cstdio>
#include <orla/ORLACl.h>
#include <type_traits>

#include "ProgressMeter.h"
#include "Session.h"
#include "system.h"

namespace orla {
namespace {

/* Longer answers of the server are cut. */
constexpr std::uint32_t kAnswerSize = 64 * 1024;

constexpr char kTooLong[] = "the path, the name or the identities are too long";

std::vector<const char*> pointers(const std::vector<std::string>& texts) {
  std::vector<const char*> result;
  result.reserve(texts.size() + 1);
  for (const std::string& text : texts) result.push_back(text.c_str());
  // The library wants an array also for no identity at all.
  result.push_back(nullptr);
  return result;
}

void print_answer(const std::string& answer) {
  std::printf("%s\n", one_line(answer).c_str());
}

std::string explain_send(orla_status status, const std::string& file) {
  switch (status) {
    case ORLA_ERROR_ARGUMENT:
      return kTooLong;
    case ORLA_ERROR_TOO_LARGE:
      return "4 GiB or more, or too large for the memory: " + file;
    case ORLA_ERROR_NO_SUCH_FILE:
      return "no such file: " + file;
    case ORLA_ERROR_SHORT_READ:
      return "cannot be read to its end: " + file;
    default:
      return "cannot be opened: " + file;
  }
}

std::string explain_get(orla_status status, const std::string& file) {
  switch (status) {
    case ORLA_ERROR_ARGUMENT:
      return kTooLong;
    case ORLA_ERROR_UNAUTHORIZED:
      return "cannot be replaced: " + file;
    default:
      return "cannot be written: " + file;
  }
}

/* A download under way. The record comes first: its address is the download's. */
struct Download {
  orla_progress_record record;
  ProgressMeter* meter;
  std::uint64_t bytes;
  bool cancelled;
};
static_assert(std::is_standard_layout_v<Download> && offsetof(Download, record) == 0);

/* Brings the count up to date with the record's, which wraps at 4 GiB. */
void count_bytes(Download& download) {
  download.bytes += download.record.byte_count - static_cast<std::uint32_t>(download.bytes);
}

extern "C" void ORLA_CALL on_progress(orla_progress_record* record, const void*, std::uint32_t) {
  auto& download = *reinterpret_cast<Download*>(record);
  count_bytes(download);
  if (interrupted()) {
    download.cancelled = true;
    record->status = ORLA_PROGRESS_CANCEL;
    return;
  }
  download.meter->update(download.bytes);
}

}  // namespace

void print_version(const std::string& url) {
  const Session session(url);
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  require_ok(ORLAGetVersion(session.handle(), &major, &minor),
             "the server's answer is no version, or the URL is too long");
  std::printf("%u.%u\n", unsigned{major}, unsigned{minor});
}

void print_name(const std::string& url, const PackageKind& kind) {
  const Session session(url);
  const std::vector<const char*> identities = pointers(kind.identities);
  std::uint32_t size = kAnswerSize;
  // One byte more than the library fills: a full answer comes without its terminating zero.
  std::vector<char> answer(kAnswerSize + 1);
  require_ok(ORLAGetPackageName(session.handle(), kind.type,
                                static_cast<std::uint32_t>(kind.identities.size()),
                                identities.data(), answer.data(), &size),
             kTooLong);
  print_answer(answer.data());
}

void send_package(const std::string& url, const std::string& file, const PackageKind& kind,
                  const std::string& name) {
  const std::string path = library_path(file);
  const Session session(url);
  const std::vector<const char*> identities = pointers(kind.identities);
  // The name goes in and the answer comes out in one buffer.
  std::vector<char> answer(kAnswerSize + 1);
  if (name.size() >= answer.size()) throw CommandFailure(kTooLong);
  name.copy(answer.data(), name.size());
  std::uint32_t size = kAnswerSize;

  std::fprintf(stderr, "orla: sending %s\n", file.c_str());
  const ProgressMeter meter;
  const orla_status status = ORLASendPackage(session.handle(), kind.type,
                                             static_cast<std::uint32_t>(kind.identities.size()),
                                             identities.data(), path.c_str(), answer.data(), &size);
  require_ok(status, explain_send(status, file));
  std::fprintf(stderr, "orla: sent %s\n", meter.summary(size).c_str());
  print_answer(answer.data());
}

void get_file(const std::string& url, const std::string& target, const std::string& file,
              const std::string& counter) {
  const std::string path = library_path(file);
  const Session session(url);
  catch_first_interrupt();
  ProgressMeter meter;
  Download download{{}, &meter, 0, false};
  const orla_status status =
      ORLADownloadFile(session.handle(), target.c_str(), path.c_str(), on_progress,
                       &download.record, counter.empty() ? nullptr : counter.c_str());
  meter.end();
  if (download.cancelled && status == ORLA_ERROR_REQUEST) throw CommandFailure("cancelled");
  require_ok(status, explain_get(status, file));
  count_bytes(download);
  std::fprintf(stderr, "orla: received %s\n", meter.summary(download.bytes).c_str());
  std::printf("%s: %llu bytes\n", file.c_str(), static_cast<unsigned long long>(download.bytes));
}

}  // namespace orla
