// A portal in memory. It delivers the given bytes in pieces, then the end of the stream, and records
// what is written to it.
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "net/RWPortal.h"

namespace orla::test {

class PortalFixture {
 public:
  /// A read never goes beyond the end of a piece. The last size in `pieces` is used for all remaining
  /// bytes. A size of 0 is a read that finds no bytes yet. Without sizes, all bytes are one piece;
  /// {1} delivers single bytes, {7, 100} delivers 7 bytes and then 100 at a time.
  explicit PortalFixture(RWCString bytes = {}, std::vector<std::size_t> pieces = {})
      : imp_(new Imp(std::move(bytes), std::move(pieces))), portal_(imp_) {}

  const RWPortal& portal() const { return portal_; }
  RWCString unread() const { return imp_->bytes.substr(imp_->position); }
  /// The bytes of each write.
  const std::vector<RWCString>& writes() const { return imp_->writes; }

 private:
  struct Imp : RWPortalImp {
    Imp(RWCString given, std::vector<std::size_t> sizes)
        : bytes(std::move(given)), pieces(std::move(sizes)) {}

    int recv(char* buffer, int length, bool* more) override {
      if (pieceLeft == 0) {
        if (nextPiece < pieces.size()) piece = pieces[nextPiece++];
        pieceLeft = piece;
      }
      const std::size_t most = std::min(pieceLeft, static_cast<std::size_t>(length));
      const std::size_t count = bytes.copy(buffer, most, position);
      position += count;
      pieceLeft -= count;
      if (more) *more = count != 0 || piece == 0;
      return static_cast<int>(count);
    }
    RWCString recv() override { return ""; }
    int send(const char* buffer, int length) override {
      writes.emplace_back(buffer, static_cast<std::size_t>(length));
      return length;
    }

    const RWCString bytes;
    const std::vector<std::size_t> pieces;
    std::size_t position = 0, nextPiece = 0, piece = RWCString::npos, pieceLeft = 0;
    std::vector<RWCString> writes;
  };

  Imp* imp_;
  RWPortal portal_;
};

}  // namespace orla::test
