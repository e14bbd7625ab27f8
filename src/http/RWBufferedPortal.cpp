#include "http/RWBufferedPortal.h"

#include "net/ReceiveString.h"

namespace orla {

namespace {

constexpr std::size_t kMaxGathered = 64 * 1024;
constexpr std::size_t kInitialGathered = 512;  // Heads without a body.

}  // namespace

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
  return receive(buffer, length, more, [&](char* into, int most, bool* condition) {
    return portal_.recv(into, most, condition, timeout);
  });
}

int RWBufferedPortalImp::recv(char* buffer, int length, bool* more) {
  return receive(buffer, length, more, [&](char* into, int most, bool* condition) {
    return portal_.recv(into, most, condition);
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
  if (gathered_.size() + static_cast<std::size_t>(length) > kMaxGathered) flush();
  midMessage_ = true;
  if (gathered_.capacity() == 0) gathered_.reserve(kInitialGathered);
  gathered_.insert(gathered_.end(), buffer, buffer + length);
  return length;
}

void RWBufferedPortalImp::flush() {
  if (gathered_.empty()) return;
  try {
    portal_.sendFully(gathered_.data(), static_cast<int>(gathered_.size()));
  } catch (...) {
    gathered_.clear();
    throw;
  }
  gathered_.clear();  // Keeps its memory for the next pieces.
}

}  // namespace orla
