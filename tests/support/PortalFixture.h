// A portal in memory: it delivers given bytes in given pieces, then the end of the stream, and
// records what is written to it.
#pragma once

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "net/RWPortal.h"

namespace orla::test {

/// Owned by the portals that share it, like every portal implementation.
class MemoryPortalImp : public RWPortalImp {
 public:
  MemoryPortalImp(RWCString bytes, std::vector<std::size_t> pieces)
      : bytes_(std::move(bytes)), pieces_(std::move(pieces)) {}

  using RWPortalImp::recv;
  using RWPortalImp::send;
  int recv(char* buffer, int length, bool* more) override {
    ++reads_;
    if (pieceLeft_ == 0) {
      if (nextPiece_ < pieces_.size()) piece_ = pieces_[nextPiece_++];
      pieceLeft_ = piece_;
    }
    const std::size_t count =
        bytes_.copy(buffer, std::min(pieceLeft_, static_cast<std::size_t>(length)), position_);
    position_ += count;
    pieceLeft_ -= count;
    if (more) *more = count != 0;
    return static_cast<int>(count);
  }
  RWCString recv() override {
    char buffer[4096];
    const int got = recv(buffer, sizeof buffer, nullptr);
    return RWCString(buffer, static_cast<std::size_t>(got));
  }
  int send(const char* buffer, int length) override {
    writes_.emplace_back(buffer, static_cast<std::size_t>(length));
    return length;
  }

 private:
  friend class PortalFixture;

  RWCString bytes_;
  std::vector<std::size_t> pieces_;
  std::size_t nextPiece_ = 0;
  std::size_t piece_ = std::numeric_limits<std::size_t>::max();
  std::size_t pieceLeft_ = 0;
  std::size_t position_ = 0;
  std::size_t reads_ = 0;
  std::vector<RWCString> writes_;
};

class PortalFixture {
 public:
  /// A read ends where a piece ends, at the latest; the last size in `pieces` goes for all the
  /// bytes that are left. {}: all at once, {1}: byte by byte, {7, 100}: 7 bytes, then a hundred a
  /// time.
  explicit PortalFixture(RWCString bytes = {}, std::vector<std::size_t> pieces = {})
      : imp_(new MemoryPortalImp(std::move(bytes), std::move(pieces))), portal_(imp_) {}

  const RWPortal& portal() const { return portal_; }
  /// What has not been read yet.
  RWCString unread() const { return imp_->bytes_.substr(imp_->position_); }
  std::size_t reads() const { return imp_->reads_; }
  /// Each write of its own.
  const std::vector<RWCString>& writes() const { return imp_->writes_; }
  RWCString written() const {
    RWCString all;
    for (const RWCString& write : writes()) all += write;
    return all;
  }

 private:
  MemoryPortalImp* imp_;
  RWPortal portal_;
};

/// Runs `check` with `bytes` whole, cut in two at each offset, and byte by byte, until the test has
/// a failure.
inline void forEverySplit(const RWCString& bytes,
                          const std::function<void(PortalFixture&)>& check) {
  for (std::size_t split = 0; split <= bytes.size(); ++split) {
    SCOPED_TRACE(split == 0 ? std::string("byte by byte") : "split at " + std::to_string(split));
    // Split at the end, the bytes come whole.
    PortalFixture fixture(bytes, split == 0 ? std::vector<std::size_t>{1}
                                            : std::vector<std::size_t>{split, bytes.size()});
    check(fixture);
    if (testing::Test::HasFailure()) return;
  }
}

}  // namespace orla::test
