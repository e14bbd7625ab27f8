#include "net/RWPortal.h"

#include <algorithm>
#include <limits>

#include "net/RWNetErrors.h"

namespace orla {

namespace {

constexpr std::size_t kMaxLength = std::numeric_limits<int>::max();

/// Sends until `atLeast` bytes of the buffer are sent, and returns their number.
int sendUntil(RWPortalImp& channel, const char* buffer, int length, int atLeast) {
  int done = 0;
  while (done < atLeast) {
    const int sent = channel.send(buffer + done, length - done);
    if (sent < 1) throw RWNetCantSendError();
    done += sent;
  }
  return done;
}

}  // namespace

int RWPortalImp::recv(char*, int, bool*, std::uint32_t) {
  throw RWNetTimeoutNotImplementedError();
}
RWCString RWPortalImp::recv(std::uint32_t) {
  throw RWNetTimeoutNotImplementedError();
}
int RWPortalImp::send(const char*, int, std::uint32_t) {
  throw RWNetTimeoutNotImplementedError();
}

void RWPortalImp::sendPieces(std::string_view bytes, std::size_t maxPiece) {
  while (!bytes.empty()) {
    const int length = static_cast<int>(std::min({bytes.size(), maxPiece, kMaxLength}));
    sendUntil(*this, bytes.data(), length, length);
    bytes.remove_prefix(static_cast<std::size_t>(length));
  }
}

int RWNoPortalImp::recv(char*, int, bool*, std::uint32_t) {
  throw RWNetNoChannelError();
}
RWCString RWNoPortalImp::recv(std::uint32_t) {
  throw RWNetNoChannelError();
}
int RWNoPortalImp::recv(char*, int, bool*) {
  throw RWNetNoChannelError();
}
RWCString RWNoPortalImp::recv() {
  throw RWNetNoChannelError();
}
int RWNoPortalImp::send(const char*, int, std::uint32_t) {
  throw RWNetNoChannelError();
}
int RWNoPortalImp::send(const char*, int) {
  throw RWNetNoChannelError();
}

RWPortal::RWPortal() : RWPortal(new RWNoPortalImp) {}

RWPortal::RWPortal(RWPortalImp* implementation) : implementation_(implementation) {}

int RWPortal::recv(char* buffer, int length, bool* more, std::uint32_t timeout) const {
  return implementation_->recv(buffer, length, more, timeout);
}

int RWPortal::recv(char* buffer, int length, bool* more) const {
  return implementation_->recv(buffer, length, more);
}

RWCString RWPortal::recv(std::uint32_t timeout) const {
  return implementation_->recv(timeout);
}

RWCString RWPortal::recv() const {
  return implementation_->recv();
}

int RWPortal::send(const char* buffer, int length, std::uint32_t timeout) const {
  return implementation_->send(buffer, length, timeout);
}

int RWPortal::send(const char* buffer, int length) const {
  return implementation_->send(buffer, length);
}

int RWPortal::send(const RWCString& text) const {
  return send(text.data(), static_cast<int>(std::min(text.size(), kMaxLength)));
}

std::size_t RWPortal::recvThrough(char last, RWCString& text, std::size_t maxBytes,
                                  bool* more) const {
  const std::string_view ready = buffered().substr(0, maxBytes);
  if (ready.empty()) {
    char byte;
    const int count = recv(&byte, 1, more);
    text.append(&byte, static_cast<std::size_t>(count));
    return static_cast<std::size_t>(count);
  }
  const std::size_t found = ready.find(last);
  const std::size_t count = found == std::string_view::npos ? ready.size() : found + 1;
  text.append(ready.substr(0, count));
  skip(count);
  if (more) *more = true;
  return count;
}

int RWPortal::recvFully(char* buffer, int length, int atLeast, bool* more) const {
  if (atLeast < 0 || atLeast > length) atLeast = length;
  int done = 0;
  while (done < atLeast) {
    const int got = recv(buffer + done, length - done);
    if (got < 1) throw RWNetCantRecvError();
    done += got;
  }
  if (more) *more = true;
  return done;
}

int RWPortal::sendFully(const char* buffer, int length, int atLeast) const {
  // A negative `length`, which is also the default, makes `atLeast` negative: nothing is sent. The
  // text is not measured, because callers rely on that.
  if (atLeast < 0 || atLeast > length) atLeast = length;
  return sendUntil(*implementation_, buffer, length, atLeast);
}

int RWPortal::sendFully(const RWCString& text) const {
  if (text.size() > kMaxLength) throw RWBoundsErr(text.size(), kMaxLength);
  return sendFully(text.data(), static_cast<int>(text.size()));
}

}  // namespace orla
