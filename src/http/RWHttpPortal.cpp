#include "http/RWHttpPortal.h"

#include <algorithm>
#include <cstdlib>

#include "http/RWHttpErrors.h"
#include "http/RWHttpReply.h"
#include "http/RWHttpRequest.h"
#include "net/RWNetErrors.h"
#include "net/ReceiveString.h"

namespace orla {

namespace {

/// Returns the size in a chunk size line. Reads the number in the same way as strtoul() with a long
/// of 32 bits: it may have a sign, a minus sign subtracts it from 2^32, and a number that is too
/// large counts as 2^32 - 1.
std::uint32_t parseChunkSize(const RWCString& line) {
  constexpr char kSeparators[] = " ;\r";
  const std::size_t start = std::min(line.find_first_not_of(kSeparators), line.size());
  const std::size_t end = line.find_first_of(kSeparators, start);
  const RWCString field = line.substr(start, end - start);

  constexpr std::uint32_t kMax = 0xFFFFFFFF;
  const long long size = std::strtoll(field.c_str(), nullptr, 16);
  if (size > kMax || size < -static_cast<long long>(kMax)) return kMax;
  if (size != 0) return static_cast<std::uint32_t>(size);
  if (field.empty() || field.find_first_not_of('0') != RWCString::npos)
    throw RWHttpReplyError("Unable to evaluate chunk size: " + field);
  return 0;
}

}  // namespace

RWHttpPortalImp::RWHttpPortalImp() : done_(true), mode_(kLengthDelimited) {}

RWHttpPortalImp::RWHttpPortalImp(const RWPortal& portal, Mode mode, std::uint32_t length)
    : done_(false),
      portal_(portal),
      remaining_(mode == kLengthDelimited ? length : 0),
      mode_(mode) {}

int RWHttpPortalImp::recv(char* buffer, int length, bool* more) {
  if (!done_ && mode_ == kChunked && remaining_ == 0) {
    remaining_ = readChunkSize();
    done_ = remaining_ == 0;
  }
  if (done_) {
    if (more) *more = false;
    return 0;
  }
  if (mode_ != kUntilClose && static_cast<std::uint32_t>(std::max(length, 0)) > remaining_)
    length = static_cast<int>(remaining_);
  const int count = portal_.recv(buffer, length, more);
  if (mode_ == kUntilClose) {
    if (count == 0 && length > 0) done_ = true;
  } else {
    remaining_ -= static_cast<std::uint32_t>(count);
    if (mode_ == kLengthDelimited && remaining_ == 0) done_ = true;
  }
  return count;
}

RWCString RWHttpPortalImp::recv() {
  return receiveString([this](char* buffer, int size) { return recv(buffer, size, nullptr); });
}

int RWHttpPortalImp::send(const char*, int) {
  throw RWNetNoChannelError();
}

std::uint32_t RWHttpPortalImp::readChunkSize() {
  RWCString line;
  for (std::size_t left = RWHttpLineReader::kMaxBytes; left != 0;) {
    bool more = false;
    const std::size_t count = portal_.recvThrough('\n', line, left, &more);
    // If `more` is true, the connection has not ended, but there is nothing to read now.
    if (count == 0 && !more) throw RWHttpConnectionError("Server unexpectedly closed connection");
    left -= count;
    if (!line.ends_with("\r\n")) continue;
    line.resize(line.size() - 2);
    // The line end after the previous chunk's data is an empty line here.
    if (!line.empty()) return parseChunkSize(line);
  }
  throw RWHttpReplyError("Chunk size line too large");
}

RWTHandle<RWHttpPortalImp> makeBodyPortal(const RWCString& method, const RWHttpReply& reply,
                                          const RWPortal& portal) {
  const auto make = [&](RWHttpPortalImp::Mode mode, std::uint32_t length = 0) {
    return RWTHandle<RWHttpPortalImp>(new RWHttpPortalImp(portal, mode, length));
  };

  const int status = reply.getStatusCode();
  if (equalIgnoringCase(method, kHttpHead) || reply.is1XX() || status == 204 || status == 304)
    return RWTHandle<RWHttpPortalImp>(new RWHttpPortalImp);

  const RWHttpHeaderList& headers = reply.headers();
  const RWCString coding = headers.getValue("Transfer-Encoding");
  if (equalIgnoringCase(coding, "chunked")) return make(RWHttpPortalImp::kChunked);
  if (!coding.empty() && !equalIgnoringCase(coding, "identity"))
    throw RWHttpReplyError("Unknown Transfer-Encoding: \"" + coding + "\"");

  if (equalIgnoringCase(headers.getValue("Connection"), "close"))
    return make(RWHttpPortalImp::kUntilClose);

  const std::size_t length = headers.find("Content-Length");
  if (length == RWHttpHeaderList::npos) return make(RWHttpPortalImp::kUntilClose);
  return make(RWHttpPortalImp::kLengthDelimited,
              static_cast<std::uint32_t>(RWHttpContentLengthHeader(headers[length]).getValue()));
}

}  // namespace orla
