// A connection: the library's record of one server, and the HTTP transactions with it.
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
/// No network connection is held between commands; each command is a transaction on one of its own.
///
/// The table of connections and every running command hold counted references, so that a command
/// outlives the table's clean-up. Any number of threads may use one connection: its fields are
/// locked, but messages of commands that run at the same time replace one another.
class CInetCntHandle : public RWReference {
 public:
  /// Where the body handler puts a reply's body, and what it met. Filled by the command; all that
  /// it points to belongs to the command.
  struct CHttpRequestArg {
    /// Memory mode: takes the body.
    RWCString textBody;
    /// 0 at first. Once it is not, the rest of a file's body is read and dropped.
    std::uint32_t errorCode = 0;
    /// 0: memory mode; else file mode, which needs all that follows.
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

  /// The size of the message buffer; messages are cut to one byte less.
  static constexpr std::size_t kMessageSize = ORLA_MESSAGE_SIZE;

  CInetCntHandle();
  ~CInetCntHandle() override;

  /// The value by which the agent names this connection: not 0, and the same for the object's whole
  /// life. It is the object's address where addresses have 32 bits, and a running number elsewhere.
  std::uint32_t Handle() const noexcept { return handle_; }

  /// Guarded by the lock of the table.
  bool InUse() const noexcept { return inUse_; }
  void SetInUse(bool inUse) noexcept { inUse_ = inUse; }

  /// Takes a new URL and credential; null texts count as empty. False, with a message, when the
  /// URL cannot be read; it is stored all the same. `reserved` is not used.
  bool OpenTarget(const char* url, const char* credential, std::uint32_t reserved);

  /// The test of a new connection. There is nothing to test before the first command: true.
  bool CheckConnection();

  /// One consistent copy of the URL's parts: a command takes one and uses nothing else, because
  /// another thread may give the connection a new URL at any time.
  Server GetServer() const;

  /// Copies the message, zero-terminated, into `buffer`.
  void CopyMessage(char (&buffer)[kMessageSize]) const;

  /// One transaction: a fresh connection to `server`, one request for `path`, its reply's body into
  /// `arg`. 0 for status 200; otherwise a code, with a message. `wait`, in milliseconds (only whole
  /// seconds count), bounds connecting and each wait for the reply on top of the socket's own limit
  /// of 300 s; 0 for none. Raises nothing, unless the progress function does what it must not.
  std::uint32_t Get(const Server& server, const char* path, CHttpRequestArg* arg,
                    std::uint32_t wait);
  /// The same with `body` as the request's body; no wait for the server to take more of it lasts
  /// longer than 300 s either.
  std::uint32_t Post(const Server& server, const char* path, RWCString body, CHttpRequestArg* arg,
                     std::uint32_t wait);

  /// Connects `client` and limits each wait for the server's data to 300 s.
  static void ConnectClient(VekRWHttpClient& client, const RWCString& host, std::uint32_t port,
                            std::uint32_t wait);
  /// The number that a URL's port text begins with; 80 for an empty text. What is negative or does
  /// not fit counts as 0xFFFFFFFF, which no host has.
  static std::uint32_t PortNumber(const RWCString& text);

 private:
  std::uint32_t Transact(const Server& server, const char* method, const char* path, RWCString body,
                         CHttpRequestArg* arg, std::uint32_t wait);
  void SetMessage(const char* text);

  const std::uint32_t handle_;
  bool inUse_ = false;

  mutable CVekCritSec lock_;
  RWURL url_ ORLA_GUARDED_BY(lock_);
  // The credential is kept, twice, as the connection's state; no command sends it.
  RWCString credential_ ORLA_GUARDED_BY(lock_);
  RWCString credentialCopy_ ORLA_GUARDED_BY(lock_);
  char message_[kMessageSize] ORLA_GUARDED_BY(lock_) = {};
};

}  // namespace orla
