// A portal that gathers small transfers over another portal into large ones.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "net/RWPortal.h"

namespace orla {

/// Reads ahead of its user, so that a receive of one byte costs no system call, and gathers sends
/// until flush(). No received byte is lost to anybody who goes on reading here; the portal beneath
/// must not be read by others.
///
/// One thread may receive while another sends: the two directions share nothing.
class RWBufferedPortalImp : public RWPortalImp {
 public:
  /// Keeps `portal` alive.
  explicit RWBufferedPortalImp(const RWPortal& portal);

  /// A receive of at least the read-ahead's size, with nothing buffered, goes straight into the
  /// caller's buffer. When a single byte is asked for behind it, the read-ahead takes as much as was
  /// received byte by byte before it: among large chunks that is the line between two of them, and
  /// the next one again goes straight into the caller's buffer, whole.
  int recv(char* buffer, int length, bool* more, std::uint32_t timeout) override;
  RWCString recv(std::uint32_t timeout) override;
  int recv(char* buffer, int length, bool* more) override;
  RWCString recv() override;
  /// Takes everything. What the portal beneath raises comes from the call that could not gather
  /// more, or from flush(); the bytes gathered by then are dropped. The time-out bounds nothing
  /// here: gathering does not wait.
  int send(const char* buffer, int length, std::uint32_t timeout) override;
  int send(const char* buffer, int length) override;

  /// Sends what was gathered, all of it.
  void flush();

  /// True from the first send of a message until endMessage(): a sender that meets it so left its
  /// message half done, and nothing can follow that.
  bool isMidMessage() const noexcept { return midMessage_; }
  void endMessage() noexcept { midMessage_ = false; }

 private:
  static constexpr int kReadAhead = 16 * 1024;

  template <class Receive>
  int receive(char* buffer, int length, bool* more, Receive receiveBelow);

  RWPortal portal_;
  std::array<char, kReadAhead> ahead_;  // What nobody asked for yet is from next_ to end_.
  // Read ahead since the last direct receive, less what was taken in larger pieces: once nothing is
  // left in ahead_, the bytes that were taken one by one.
  unsigned singleBytes_ = 0;
  unsigned nextAhead_ = 0;  // The most for the next read-ahead; 0 for all that fits.
  std::vector<char> gathered_;
  bool midMessage_ = false;
};

}  // namespace orla
