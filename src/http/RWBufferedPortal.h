// A portal that gathers small transfers over another portal into large ones.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

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
  /// caller's buffer.
  int recv(char* buffer, int length, bool* more, std::uint32_t timeout) override;
  RWCString recv(std::uint32_t timeout) override;
  int recv(char* buffer, int length, bool* more) override;
  RWCString recv() override;
  /// Takes everything. What the portal beneath raises comes from the call that could not gather
  /// more, or from flush(); the bytes gathered by then are dropped. The time-out bounds nothing
  /// here: gathering does not wait.
  int send(const char* buffer, int length, std::uint32_t timeout) override;
  int send(const char* buffer, int length) override;
  void sendPieces(std::string_view bytes, std::size_t maxPiece) override;
  std::string_view buffered() const noexcept override { return unread_; }
  void skip(std::size_t count) noexcept override { unread_.remove_prefix(count); }

  /// Sends what was gathered, all of it.
  void flush();

  /// True from the first send of a message until endMessage(): a sender that meets it so left its
  /// message half done, and nothing can follow that.
  bool isMidMessage() const noexcept { return midMessage_; }
  void endMessage() noexcept { midMessage_ = false; }

 private:
  static constexpr int kReadAhead = 16 * 1024;
  static constexpr std::size_t kMaxGathered = 16 * 1024;
  static constexpr std::size_t kMaxDirect = 64 * 1024;

  template <class Receive>
  int receive(char* buffer, int length, bool* more, Receive receiveBelow);
  /// Sends what is large without a copy, in pieces of kMaxDirect bytes, and gathers the rest.
  void gather(std::string_view bytes);

  RWPortal portal_;
  std::array<char, kReadAhead> ahead_;
  std::string_view unread_;  // The part of ahead_ that was not delivered yet.
  std::array<char, kMaxGathered> gathered_;
  std::size_t gatheredSize_ = 0;
  bool midMessage_ = false;
};

}  // namespace orla
