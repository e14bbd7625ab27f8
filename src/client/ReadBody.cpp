#include "client/ReadBody.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "client/CArArr.h"
#include "client/CVekExceptionImp.h"

namespace orla {

namespace {

/// The maximum sizes of the pieces in which a body is read. Texts are usually short, so their
/// buffer is small and on the stack.
constexpr int kTextPiece = 4096;
constexpr int kFilePiece = 256 * 1024;

/// The first progress call passes exactly this many bytes of the file.
constexpr int kPreviewSize = 512;

/// For this status the byte count is not written to the record.
constexpr std::uint32_t kStatusWithoutCount = 8;

using Arg = CInetCntHandle::CHttpRequestArg;

/// Writes the pieces of a body to a file and reports them to the agent.
class FileSink {
 public:
  explicit FileSink(Arg& arg) : arg_(arg), preview_(kPreviewSize) {}

  /// Throws CVekExceptionImp if the file cannot be written or the agent cancels.
  void take(const char* piece, int length) {
    if (arg_.file->Write(piece, static_cast<std::uint32_t>(length)) != length)
      raiseError(ORLA_ERROR_GENERAL);
    *arg_.byteCount += static_cast<std::uint32_t>(length);
    if (previewSent_) {
      notify(nullptr, 0);
      return;
    }
    preview_.InsertRange(piece, std::min(length, kPreviewSize - preview_.GetCount()), -1);
    if (preview_.GetCount() < kPreviewSize) return;
    previewSent_ = true;
    notify(&preview_.ElementAt(0), kPreviewSize);
  }

 private:
  void notify(const char* data, std::uint32_t length) {
    NotifyProgress(arg_.progress, arg_.record, ORLA_PROGRESS_PHASE, ORLA_PROGRESS_DATA,
                   *arg_.byteCount, arg_.file->TargetName(), data, length);
  }

  Arg& arg_;
  CArArr<char> preview_;
  bool previewSent_ = false;
};

void readText(const RWPortal& portal, Arg& arg) {
  char piece[kTextPiece];
  while (const int count = portal.recv(piece, kTextPiece, nullptr)) {
    const auto length = static_cast<std::size_t>(count);
    if (length > kMaxTextBody - arg.textBody.size())
      throw std::length_error("A reply body in memory is too long");
    arg.textBody.append(piece, length);
  }
}

void readFile(const RWPortal& portal, Arg& arg) {
  if (!arg.file || !arg.byteCount || !arg.progress || !arg.record) return;
  FileSink sink(arg);
  const auto piece = std::make_unique_for_overwrite<char[]>(kFilePiece);
  while (const int length = portal.recv(piece.get(), kFilePiece, nullptr)) {
    if (arg.errorCode != 0) continue;  // The rest of the body is read and dropped.
    try {
      sink.take(piece.get(), length);
    } catch (const CVekExceptionImp& error) {
      arg.errorCode = error.GetErrorCode();
    }
  }
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): the functor hands the portal over by value.
void ReadBody(RWPortal portal, Arg* arg) {
  if (arg->toFile != 0)
    readFile(portal, *arg);
  else
    readText(portal, *arg);
}

std::uint32_t NotifyProgress(orla_progress_fn callback, orla_progress_record* record,
                             std::uint32_t phase, std::uint32_t status, std::uint32_t count,
                             const char* name, const char* data, std::uint32_t length) {
  if (callback) {
    record->phase = phase;
    record->status = status;
    if (name) {
      std::strncpy(record->file_name, name, sizeof record->file_name);
      record->file_name[sizeof record->file_name - 1] = '\0';
    }
    if (status != kStatusWithoutCount) record->byte_count = count;
    callback(record, data, length);
    status = record->status;
  }
  if (status == ORLA_PROGRESS_CANCEL) raiseError(ORLA_ERROR_REQUEST);
  if (status == ORLA_PROGRESS_ABANDON) raiseError(ORLA_ERROR_NOT_MODIFIED);
  return 0;
}

}  // namespace orla
