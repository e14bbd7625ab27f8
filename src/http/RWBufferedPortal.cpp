#include "http/RWBufferedPortal.h"

#include <utility>

#include "net/ReceiveString.h"

namespace orla {

RWBufferedPortalImp::RWBufferedPortalImp(const RWPortal& portal) : portal_(portal) {}

template <class Receive>
int RWBufferedPortalImp::receive(char* buffer, int length, bool* more, Receive receiveBelow) {
  if (length <= 0) {
    if (more) *more = false;
    return 0;
  }
  if (unread_.empty()) {
    if (length >= kReadAhead) return receiveBelow(buffer, length, more);
    const int got = receiveBelow(ahead_.data(), kReadAhead, more);
    if (got == 0) return 0;
    unread_ = std::string_view(ahead_.data(), static_cast<std::size_t>(got));
  }
  const std::size_t count = unread_.copy(buffer, static_cast<std::size_t>(length));
  skip(count);
  if (more) *more = true;
  return static_cast<int>(count);
}

int RWBufferedPortalImp::recv(char* buffer, int length, bool* more, std::uint32_t timeout) {
  return receive(buffer, length, more, [&](char* into, int most, bool* moreBelow) {
    return portal_.recv(into, most, moreBelow, timeout);
  });
}

int RWBufferedPortalImp::recv(char* buffer, int length, bool* more) {
  return receive(buffer, length, more, [&](char* into, int most, bool* moreBelow) {
    return portal_.recv(into, most, moreBelow);
  });
}

RWCString RWBufferedPortalImp::recv(std::uint32_t timeout) {
  return receiveString(
      [&](char* buffer, int size) { return recv(buffer, size, nullptr, timeout); });
}

RWCString RWBufferedPortalImp::recv() {
  return receiveString([&](char* buffer, int size) { return recv(buffer, size, nullptr); });
}

int RWBufferedPortalImp::send(const char* buffer, int length, std::uint32_t) {
  return send(buffer, length);
}

int RWBufferedPortalImp::send(const char* buffer, int length) {
  if (length <= 0) return 0;
  gather(std::string_view(buffer, static_cast<std::size_t>(length)));
  return length;
}

void RWBufferedPortalImp::sendPieces(std::string_view bytes, std::size_t) {
  gather(bytes);
}

void RWBufferedPortalImp::gather(std::string_view bytes) {
  midMessage_ = true;
  while (!bytes.empty()) {
    const bool isDirect = gatheredSize_ == 0 && bytes.size() >= kMaxGathered;
    const std::size_t room = isDirect ? kMaxDirect : kMaxGathered - gatheredSize_;
    const std::string_view piece = bytes.substr(0, room);
    if (isDirect) {
      portal_.sendFully(piece.data(), static_cast<int>(piece.size()));
    } else {
      piece.copy(gathered_.data() + gatheredSize_, piece.size());
      gatheredSize_ += piece.size();
      if (gatheredSize_ == kMaxGathered) flush();
    }
    bytes.remove_prefix(piece.size());
  }
}

void RWBufferedPortalImp::flush() {
  const std::size_t size = std::exchange(gatheredSize_, 0);  // Dropped if the send throws.
  portal_.sendFully(gathered_.data(), static_cast<int>(size));
}

}  // namespace orla
