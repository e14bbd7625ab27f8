// HTTP requests, and the bytes that are written for them.
//
//   POST /path?x=1 HTTP/1.1 CR LF            request line, one write
//   Content-Length: 5 CR LF                  header block, one write: by sort class, then by label
//   Host: srv:8080 CR LF
//   Accept: text/plain CR LF
//   CR LF
//   hello                                    body, pieces of at most 4080 bytes
//
// or, for a body of unknown length, with "Transfer-Encoding: chunked":
//
//   ff0 CR LF                                size in lower-case hexadecimal, one write
//   <4080 bytes> CR LF                       piece, one write
//   0 CR LF CR LF                            end, one write
//
// One thread at a time uses a request. Copies share the body.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "foundation/RWCString.h"
#include "foundation/RWReference.h"
#include "http/RWHttpHeader.h"
#include "net/RWPortal.h"

namespace orla {

/// Method texts. RFC 9110, section 9.3.
inline constexpr char kHttpOptions[] = "OPTIONS";
inline constexpr char kHttpGet[] = "GET";
inline constexpr char kHttpHead[] = "HEAD";
inline constexpr char kHttpPost[] = "POST";
inline constexpr char kHttpPut[] = "PUT";
inline constexpr char kHttpDelete[] = "DELETE";
inline constexpr char kHttpTrace[] = "TRACE";
inline constexpr char kHttpConnect[] = "CONNECT";

/// A source of body bytes. Reading consumes it, so a body can be sent once.
class RWHttpRequestBody : public RWReference {
 public:
  /// Returns the next piece, of at most `most` bytes, or an empty piece at the end. The body owns
  /// the bytes, which are valid until the next call.
  virtual std::string_view read(std::size_t most) = 0;
  /// If the body is in memory, returns everything that read() has not returned yet, and consumes
  /// it. Otherwise returns an empty piece. The body owns the bytes, which are valid while it
  /// exists.
  virtual std::string_view readRest() { return {}; }
  /// Returns the whole length in bytes, or -1 if it is not known in advance, which selects chunked
  /// framing.
  virtual std::int64_t getLength() const = 0;
};

/// A body that is one string.
class RWHttpRequestStringBody : public RWHttpRequestBody {
 public:
  explicit RWHttpRequestStringBody(RWCString text = RWCString());

  std::string_view read(std::size_t most) override;
  std::string_view readRest() override { return read(text_.size()); }
  std::int64_t getLength() const override;

 private:
  RWCString text_;
  std::size_t position_ = 0;
};

/// A request, which is a plain value. A new request has no method, no URI, version 1.1, no headers
/// and an empty string body.
class RWHttpRequest {
 public:
  RWHttpRequest() : RWHttpRequest(RWCString(), RWCString()) {}
  /// With a string body.
  RWHttpRequest(RWCString method, RWCString uri, RWCString body = RWCString());
  // Copied and never moved from, so that a request always has a body.
  RWHttpRequest(const RWHttpRequest&) = default;
  RWHttpRequest& operator=(const RWHttpRequest&) = default;
  ~RWHttpRequest() = default;

  const RWCString& getMethod() const noexcept { return method_; }
  void setMethod(RWCString method);
  /// Written unchanged: neither escaped nor checked.
  const RWCString& getURI() const noexcept { return uri_; }
  void setURI(RWCString uri);
  int getMajorVersion() const noexcept { return majorVersion_; }
  void setMajorVersion(int version) noexcept { majorVersion_ = version; }
  int getMinorVersion() const noexcept { return minorVersion_; }
  void setMinorVersion(int version) noexcept { minorVersion_ = version; }
  RWHttpHeaderList& headers() noexcept { return headers_; }
  const RWHttpHeaderList& headers() const noexcept { return headers_; }
  const RWTHandle<RWHttpRequestBody>& getBody() const noexcept { return body_; }
  /// Shares `body`, which must hold a body.
  void setBody(RWTHandle<RWHttpRequestBody> body);

  /// Returns the request line without its line end.
  RWCString requestLine() const;

  /// Writes the request to `portal`, in the form shown above. Unless the headers contain them, adds
  /// - "Content-Length" if the length of the body is known and not 0,
  /// - "Transfer-Encoding" if the length of the body is unknown,
  /// - "Host", with `host` and `port`.
  ///
  /// Does not change the request's own headers. Throws RWHttpRequestError and writes nothing if the
  /// length of the body is unknown and the version is below 1.1. If the portal or the body throws,
  /// a part may be written.
  void write(const RWPortal& portal, const RWCString& host, std::uint32_t port) const;

 private:
  RWCString method_;
  RWCString uri_;
  int majorVersion_ = 1;
  int minorVersion_ = 1;
  RWHttpHeaderList headers_;
  RWTHandle<RWHttpRequestBody> body_;
};

}  // namespace orla
