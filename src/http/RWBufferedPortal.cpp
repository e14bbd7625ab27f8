#include "http/RWBufferedPortal.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace orla {

namespace {

constexpr std::size_t kMostGathered = 64 * 1024;
constexpr std::size_t kUsuallyGathered = 512;  // Heads without a body.
constexpr int kStringPiece = 4096;

}  // namespace

RWBufferedPortalImp::RWBufferedPortalImp(const RWPortal& portal) : portal_(portal) {}

template <class Receive>
int RWBufferedPortalImp::receive(char* buffer, int length, bool* more, Receive receiveBelow) {
  if (length <= 0) {
    if (more) *more = false;
    return 0;
  }
  if (next_ == end_) {
    if (length >= kReadAhead) {
      if (singleBytes_ != 0) nextAhead_ = std::exchange(singleBytes_, 0);
      return receiveBelow(buffer, length, more);
    }
    const unsigned wanted = length == 1 ? std::exchange(nextAhead_, 0) : 0;
    const int most = wanted > 0 && wanted < kReadAhead ? static_cast<int>(wanted) : kReadAhead;
    const int got = receiveBelow(ahead_.data(), most, more);
    if (got == 0) return 0;
    next_ = ahead_.data();
    end_ = next_ + got;
    singleBytes_ += static_cast<unsigned>(got);
  }
  const int count = std::min(length, static_cast<int>(end_ - next_));
  std::memcpy(buffer, next_, static_cast<std::size_t>(count));
  next_ += count;
  if (length != 1) singleBytes_ -= static_cast<unsigned>(count);
  if (more) *more = true;
  return count;
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
  char piece[kStringPiece];
  const int count = recv(piece, kStringPiece, nullptr, timeout);
  return RWCString(piece, static_cast<std::size_t>(count));
}

RWCString RWBufferedPortalImp::recv() {
  char piece[kStringPiece];
  const int count = recv(piece, kStringPiece, nullptr);
  return RWCString(piece, static_cast<std::size_t>(count));
}

int RWBufferedPortalImp::send(const char* buffer, int length, std::uint32_t) {
  return send(buffer, length);
}

int RWBufferedPortalImp::send(const char* buffer, int length) {
  if (length <= 0) return 0;
  if (gathered_.size() + static_cast<std::size_t>(length) > kMostGathered) flush();
  midMessage_ = true;
  if (gathered_.capacity() == 0) gathered_.reserve(kUsuallyGathered);
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
