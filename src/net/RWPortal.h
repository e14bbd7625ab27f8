// A portal: the byte channel that the layers above read and write. It hides what carries the bytes.
//
// RWPortal is a handle to a counted implementation, an RWPortalImp. Copies share it, and the last
// one deletes it. If the implementation's destructor throws (a socket that does not close), the
// handle's destructor or assignment throws the same. Portals have no locks: one thread at a time
// uses one.
//
// A receive returns the number of bytes received. If that is 0, `*more` is false at the end of the
// stream, and true if the channel has nothing to read now. `more` may be null.
//
// A send returns the number of bytes sent, which may be fewer than given.
//
// Timeouts are in milliseconds. A call with a timeout throws RWNetOperationTimeoutError if the
// channel is not ready in time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "foundation/RWCString.h"
#include "foundation/RWReference.h"

namespace orla {

/// The base of portal implementations. Its own operations with a timeout throw
/// RWNetTimeoutNotImplementedError.
class RWPortalImp : public RWReference {
 public:
  virtual int recv(char* buffer, int length, bool* more, std::uint32_t timeout);
  virtual RWCString recv(std::uint32_t timeout);
  virtual int recv(char* buffer, int length, bool* more) = 0;
  virtual RWCString recv() = 0;
  virtual int send(const char* buffer, int length, std::uint32_t timeout);
  virtual int send(const char* buffer, int length) = 0;
  /// Sends all of `bytes`, in sends of at most `maxPiece` bytes, which must not be 0. Throws
  /// RWNetCantSendError if a send transfers nothing. An implementation that gathers sends may pass
  /// larger pieces on to the channel beneath.
  virtual void sendPieces(std::string_view bytes, std::size_t maxPiece);

  /// Returns the bytes that were read ahead and not delivered yet. Empty for an implementation
  /// without a buffer. Never blocks. Valid until the next receive or skip().
  virtual std::string_view buffered() const noexcept { return {}; }
  /// Removes the first `count` of the buffered bytes, as if they had been received. `count` must
  /// not exceed the size of buffered().
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
  /// Shares `implementation`, which is new or already shared.
  explicit RWPortal(RWPortalImp* implementation);
  // Copied and never moved from, so that a portal always has an implementation.
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

  /// Receives bytes up to and including the next `last`, but at most `maxBytes`, which must not be
  /// 0. Appends them to `text` and returns their number. Never receives a byte after `last`: it
  /// searches the buffered bytes, and receives a single byte if nothing is buffered. So it may
  /// return before `last` arrived; call it again. A result of 0 means the same as for recv().
  std::size_t recvThrough(char last, RWCString& text, std::size_t maxBytes,
                          bool* more = nullptr) const;
  /// Receives until at least `atLeast` bytes are in the buffer, which has `length` bytes. If
  /// `atLeast` is negative or greater than `length`, receives until the buffer is full. Returns the
  /// number of bytes and sets `*more` to true. Throws RWNetCantRecvError if a receive returns
  /// nothing.
  int recvFully(char* buffer, int length, int atLeast = -1, bool* more = nullptr) const;
  /// Sends until at least `atLeast` of the `length` bytes are sent. If `atLeast` is negative or
  /// greater than `length`, sends all of them. Returns the number of bytes sent. A negative
  /// `length` sends nothing. Throws RWNetCantSendError if a send transfers nothing.
  int sendFully(const char* buffer, int length = -1, int atLeast = -1) const;
  /// Sends the whole text. Throws RWBoundsErr and sends nothing if it has 2 GB or more.
  int sendFully(const RWCString& text) const;

  /// Never null. Valid while a portal shares it.
  RWPortalImp* implementation() const noexcept { return implementation_.get(); }

 private:
  RWTHandle<RWPortalImp> implementation_;
};

}  // namespace orla
