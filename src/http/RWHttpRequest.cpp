#include "http/RWHttpRequest.h"

#include <charconv>
#include <limits>
#include <utility>

#include "http/RWHttpErrors.h"

namespace orla {

namespace {

/// The maximum size in bytes of the pieces in which a body is written.
constexpr std::size_t kPieceSize = 4080;

/// Room for a usual head, without the method and the URI.
constexpr std::size_t kInitialHead = 256;

RWCString toHex(std::size_t value) {
  char digits[2 * sizeof value];
  const auto result = std::to_chars(digits, digits + sizeof digits, value, 16);
  return RWCString(digits, result.ptr);
}

RWHttpGenericHeader contentLength(std::int64_t length) {
  if (length <= std::numeric_limits<std::int32_t>::max())
    return RWHttpGenericHeader(RWHttpContentLengthHeader(static_cast<std::int32_t>(length)));
  // The typed header holds a signed 32-bit length. A larger body needs a generic header.
  return {"Content-Length", std::to_string(length), RWHttpHeaderBase::kContentLengthSortClass};
}

}  // namespace

RWHttpRequestStringBody::RWHttpRequestStringBody(RWCString text) : text_(std::move(text)) {}

std::string_view RWHttpRequestStringBody::read(std::size_t most) {
  const std::string_view piece = std::string_view(text_).substr(position_, most);
  position_ += piece.size();
  return piece;
}

std::int64_t RWHttpRequestStringBody::getLength() const {
  return static_cast<std::int64_t>(text_.size());
}

RWHttpRequest::RWHttpRequest(RWCString method, RWCString uri, RWCString body)
    : method_(std::move(method)),
      uri_(std::move(uri)),
      body_(new RWHttpRequestStringBody(std::move(body))) {}

void RWHttpRequest::setMethod(RWCString method) {
  method_ = std::move(method);
}

void RWHttpRequest::setURI(RWCString uri) {
  uri_ = std::move(uri);
}

void RWHttpRequest::setBody(RWTHandle<RWHttpRequestBody> body) {
  body_ = std::move(body);
}

RWCString RWHttpRequest::requestLine() const {
  RWCString line;
  line.reserve(method_.size() + uri_.size() + kInitialHead);
  line.append(method_).append(" ").append(uri_).append(" HTTP/");
  line.append(std::to_string(majorVersion_)).append(".").append(std::to_string(minorVersion_));
  return line;
}

void RWHttpRequest::write(const RWPortal& portal, const RWCString& host, std::uint32_t port) const {
  RWHttpHeaderList headers = headers_;
  const std::int64_t length = body_->getLength();
  const bool chunked = length == -1;
  if (chunked) {
    if (majorVersion_ < 1 || (majorVersion_ == 1 && minorVersion_ < 1))
      throw RWHttpRequestError(
          "Transfer-Encoding: chunked only supported with HTTP/1.1 or higher requests.");
    headers.insert(RWHttpGenericHeader("Transfer-Encoding", "chunked"));
  } else if (length > 0) {
    headers.insert(contentLength(length));
  }
  // insert() has no effect if the caller has set a "Host" header, even an empty one.
  headers.insert(RWHttpHostHeader(host, port));

  RWCString text = requestLine();
  portal.sendFully(text.append("\r\n"));
  text.clear();
  headers.appendTo(text);
  portal.sendFully(text.append("\r\n"));

  if (!chunked) portal.sendPieces(body_->readRest(), kPieceSize);
  for (std::string_view piece; !(piece = body_->read(kPieceSize)).empty();) {
    if (!chunked) {
      portal.sendFully(piece.data(), static_cast<int>(piece.size()));
      continue;
    }
    portal.sendFully(toHex(piece.size()) + "\r\n");
    portal.sendFully(text.assign(piece).append("\r\n"));
  }
  if (chunked) portal.sendFully(RWCString("0\r\n\r\n"));
}

}  // namespace orla
