// A portal: the byte channel that the layers above read and write, whatever carries it.
//
// RWPortal is a handle that shares a counted implementation, an RWPortalImp; copies share it and
// the last one destroys it. What the implementation's destructor raises (a socket that does not
// close) leaves that handle's destructor or assignment. No locks: one thread uses a portal at a
// time.
//
// Receives return the number of bytes received. 0 is the end of the stream, with `*more` false, or
// a channel that has nothing now, with `*more` true; `more` may be null. Sends return the number of
// bytes sent, which may be fewer than given. Time-outs are milliseconds; a timed call that is not
// ready in time throws RWNetOperationTimeoutError.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "foundation/RWCString.h"
#include "foundation/RWReference.h"

namespace orla {

/// The base of portal implementations. Its timed operations throw RWNetTimeoutNotImplementedError.
class RWPortalImp : public RWReference {
 public:
  virtual int recv(char* buffer, int length, bool* more, std::uint32_t timeout);
  virtual RWCString recv(std::uint32_t timeout);
  virtual int recv(char* buffer, int length, bool* more) = 0;
  virtual RWCString recv() = 0;
  virtual int send(const char* buffer, int length, std::uint32_t timeout);
  virtual int send(const char* buffer, int length) = 0;
  /// Sends all of `bytes`, in sends of at most `maxPiece` bytes. Throws RWNetCantSendError if a send
  /// takes nothing. An implementation that gathers sends may pass on larger pieces.
  virtual void sendPieces(std::string_view bytes, std::size_t maxPiece);

  /// The bytes that were received ahead of the caller and are still to be delivered; empty for an
  /// implementation without a buffer. Never blocks. Valid until the next receive or skip().
  virtual std::string_view buffered() const noexcept { return {}; }
  /// Removes the first `count` of the buffered bytes, as if they had been received. `count` must not
  /// exceed the size of buffered().
  virtual void skip(std::size_t count) noexcept { static_cast<void>(count); }
};

/// No channel: each operation throws RWNetNoChannelError.
class RWNoPortalImp : public RWPortalImp {
 public:
  int recv(char* buffer, int length, bool* more, std::uint32_t timeout) override;
  RWCString recv(std::uint32_t timeout) override;
  int recv(char* buffer, int length, bool* more) override;
  RWCString recv() override;
  int send(const char* buffer, int length, std::uint32_t timeout) override;
  int send(const char* buffer, int length) override;
};

class RWPortal {
 public:
  /// A portal without a channel.
  RWPortal();
  /// Shares `implementation`, new or already shared.
  explicit RWPortal(RWPortalImp* implementation);
  // Copied, never moved from: a portal always has its implementation.
  RWPortal(const RWPortal&) = default;
  RWPortal& operator=(const RWPortal&) = default;
  ~RWPortal() noexcept(false) = default;

  int recv(char* buffer, int length, bool* more, std::uint32_t timeout) const;
  RWCString recv(std::uint32_t timeout) const;
  int recv(char* buffer, int length, bool* more = nullptr) const;
  RWCString recv() const;
  int send(const char* buffer, int length, std::uint32_t timeout) const;
  int send(const char* buffer, int length) const;
  int send(const RWCString& text) const;
  void sendPieces(std::string_view bytes, std::size_t maxPiece) const {
    implementation_->sendPieces(bytes, maxPiece);
  }
  std::string_view buffered() const noexcept { return implementation_->buffered(); }
  void skip(std::size_t count) const noexcept { implementation_->skip(count); }

  /// Receives up to and including the next `last` byte, at most `maxBytes` (which must not be 0), and
  /// appends what came to `text`; returns the number of bytes. Takes no byte after `last`: searches
  /// what is buffered, and receives a single byte if nothing is. So it may return before `last` came,
  /// and 0 means the same as for recv().
  std::size_t recvThrough(char last, RWCString& text, std::size_t maxBytes,
                          bool* more = nullptr) const;
  /// Receives until `atLeast` bytes have come (negative, or more than `length`: all of `length`),
  /// in pieces as large as `length` allows, and sets `*more` true; returns their number. Throws
  /// RWNetCantRecvError when a receive gives nothing.
  int recvFully(char* buffer, int length, int atLeast = -1, bool* more = nullptr) const;
  /// Sends until `atLeast` bytes have gone (negative, or more than `length`: all of `length`);
  /// returns their number. A negative `length` sends nothing. Throws RWNetCantSendError when a send
  /// takes nothing.
  int sendFully(const char* buffer, int length = -1, int atLeast = -1) const;
  /// Sends the whole text, of at most 2 GB - 1: RWBoundsErr for a longer one, with nothing sent.
  int sendFully(const RWCString& text) const;

  /// Never null; lives as long as a portal shares it.
  RWPortalImp* implementation() const noexcept { return implementation_.get(); }

 private:
  RWTHandle<RWPortalImp> implementation_;
};

}  // namespace orla
