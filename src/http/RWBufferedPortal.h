// A portal that turns small transfers into large ones over another portal.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "net/RWPortal.h"

namespace orla {

/// Reads ahead, so that a receive of one byte costs no system call, and gathers sends until
/// flush(). Nothing else may receive from the portal beneath, because the bytes that were read
/// ahead are only here.
///
/// One thread may receive while another one sends, because the two directions share no data.
class RWBufferedPortalImp : public RWPortalImp {
 public:
  /// Keeps `portal` alive.
  explicit RWBufferedPortalImp(const RWPortal& portal);

  /// If nothing is buffered, a receive of at least the buffer's size goes straight into the
  /// caller's buffer.
  int recv(char* buffer, int length, bool* more, std::uint32_t timeout) override;
  RWCString recv(std::uint32_t timeout) override;
  int recv(char* buffer, int length, bool* more) override;
  RWCString recv() override;
  /// Gathers all of the bytes and returns `length`. When the buffer is full, sends its content. If
  /// that throws, throws the same and drops the gathered bytes. Ignores the timeout.
  int send(const char* buffer, int length, std::uint32_t timeout) override;
  int send(const char* buffer, int length) override;
  void sendPieces(std::string_view bytes, std::size_t maxPiece) override;
  std::string_view buffered() const noexcept override { return unread_; }
  void skip(std::size_t count) noexcept override { unread_.remove_prefix(count); }

  /// Sends all gathered bytes. If that throws, they are dropped.
  void flush();

  /// Returns true from the first send of a message until endMessage(). If it is true before a
  /// message begins, the previous message was not finished, and nothing may be sent after it.
  bool isMidMessage() const noexcept { return midMessage_; }
  void endMessage() noexcept { midMessage_ = false; }

 private:
  static constexpr int kReadAhead = 16 * 1024;
  static constexpr std::size_t kMaxGathered = 16 * 1024;
  static constexpr std::size_t kMaxDirect = 64 * 1024;

  template <class Receive>
  int receive(char* buffer, int length, bool* more, Receive receiveBelow);
  /// Sends large runs without a copy, in pieces of kMaxDirect bytes, and gathers the rest.
  void gather(std::string_view bytes);

  RWPortal portal_;
  std::array<char, kReadAhead> ahead_;
  std::string_view unread_;  // The part of ahead_ that was not delivered yet.
  std::array<char, kMaxGathered> gathered_;
  std::size_t gatheredSize_ = 0;
  bool midMessage_ = false;
};

}  // namespace orla
