// A connection: the library's record of one server, and the HTTP transactions with that server.
#pragma once

#include <cstdint>

#include "client/CVekCritSec.h"
#include "client/CVekFile.h"
#include "foundation/RWCString.h"
#include "foundation/RWReference.h"
#include "http/RWURL.h"
#include "orla/ORLACl.h"

namespace orla {

class VekRWHttpClient;

/// One server that the agent talks to: its URL, a credential, and the message of the last failure.
/// No network connection is held between commands: each command opens and closes its own.
///
/// The table of connections and every running command hold counted references, so that a command
/// can outlive the cleanup of the table. Any number of threads may use one connection. Its fields
/// are locked, but commands that run at the same time overwrite each other's message.
class CInetCntHandle : public RWReference {
 public:
  /// The destination of a reply's body, and the error that the body handler encountered. The
  /// command fills it and owns all that it points to.
  struct CHttpRequestArg {
    /// Memory mode: the body is appended to it.
    RWCString textBody;
    /// Initially 0. Once it is set, the rest of a body in file mode is read and dropped.
    std::uint32_t errorCode = 0;
    /// 0 is memory mode. Any other value is file mode, which needs all fields below.
    std::uint32_t toFile = 0;
    CVekFile* file = nullptr;
    /// Counts the bytes written to the file, modulo 2^32.
    std::uint32_t* byteCount = nullptr;
    /// Must not throw.
    orla_progress_fn progress = nullptr;
    orla_progress_record* record = nullptr;
  };

  /// The parts of the URL that one command needs.
  struct Server {
    RWCString host;
    RWCString port;
    /// Without the "/" before it and without a query.
    RWCString path;
  };

  /// The size of the message buffer. Messages are cut to one byte less.
  static constexpr std::size_t kMessageSize = ORLA_MESSAGE_SIZE;

  CInetCntHandle();
  ~CInetCntHandle() override;

  /// The value by which the agent names this connection. It is not 0 and never changes. It is the
  /// object's address if addresses have 32 bits, and a running number otherwise.
  std::uint32_t Handle() const noexcept { return handle_; }

  /// Guarded by the lock of the table.
  bool InUse() const noexcept { return inUse_; }
  void SetInUse(bool inUse) noexcept { inUse_ = inUse; }

  /// Stores a URL and a credential. A null text counts as empty. If the URL is invalid, stores it
  /// anyway, sets the message and returns false. `reserved` is ignored.
  bool OpenTarget(const char* url, const char* credential, std::uint32_t reserved);

  /// The test of a new connection. Returns true, because nothing can be tested before a command.
  bool CheckConnection();

  /// One consistent copy of the URL's parts: a command takes one and uses nothing else, because
  /// another thread may give the connection a new URL at any time.
  Server GetServer() const;

  /// Copies the message, zero-terminated, into `buffer`.
  void CopyMessage(char (&buffer)[kMessageSize]) const;

  /// Runs one transaction: connects to `server`, requests `path`, and reads the reply's body into
  /// `arg`. Returns 0 for status 200. Otherwise returns a code and sets the message.
  ///
  /// Each wait for the server's data lasts at most 300 s. If `timeout` is not 0, connecting and
  /// each wait for the reply also last at most `timeout` milliseconds, rounded down to whole
  /// seconds. Throws only what the progress function throws that is not a std::exception.
  std::uint32_t Get(const Server& server, const char* path, CHttpRequestArg* arg,
                    std::uint32_t timeout);
  /// The same with `body` as the request's body. Each wait until the server accepts more of it
  /// lasts at most 300 s, too.
  std::uint32_t Post(const Server& server, const char* path, RWCString body, CHttpRequestArg* arg,
                     std::uint32_t timeout);

  /// Connects `client` and limits each wait for the server's data to 300 s.
  static void ConnectClient(VekRWHttpClient& client, const RWCString& host, std::uint32_t port,
                            std::uint32_t timeout);
  /// Returns the number at the beginning of a URL's port text, or 80 for an empty text. A number
  /// that is negative or does not fit gives 0xFFFFFFFF, which is not a valid port.
  static std::uint32_t PortNumber(const RWCString& text);

 private:
  std::uint32_t Transact(const Server& server, const char* method, const char* path, RWCString body,
                         CHttpRequestArg* arg, std::uint32_t timeout);
  void SetMessage(const char* text);

  const std::uint32_t handle_;
  bool inUse_ = false;

  mutable CVekCritSec lock_;
  RWURL url_ ORLA_GUARDED_BY(lock_);
  // Two copies of the credential are kept as the connection's state. No command sends them.
  RWCString credential_ ORLA_GUARDED_BY(lock_);
  RWCString credentialCopy_ ORLA_GUARDED_BY(lock_);
  char message_[kMessageSize] ORLA_GUARDED_BY(lock_) = {};
};

}  // namespace orla
