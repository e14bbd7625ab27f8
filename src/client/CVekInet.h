// The one library-wide object: the table of connections, the errors, and what the ten exported
// functions do.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "client/CArArr.h"
#include "client/CInetCntHandle.h"
#include "client/CVekCritSec.h"
#include "client/CVekErrStorage.h"
#include "client/CVekGuard.h"

namespace orla {

/// There is one object. It is created when the library is loaded and destroyed when it is unloaded.
///
/// Any thread may call any operation. The table guard, which all processes that load the library
/// share, is held exclusively while the table is changed and shared while it is searched, but never
/// while a command uses the network. The operations of the exports return a status and do not
/// throw, except that Connect, Disconnect and Cleanup throw error 1 (CVekExceptionImp) if the guard
/// cannot be acquired.
class CVekInet : protected CArArr<CInetCntHandle*> {
 public:
  /// `guardName` is the end of the names of the guard's kernel objects.
  explicit CVekInet(const char* guardName);
  /// Waits until no command of any process holds the table's lock. If the system stopped a thread
  /// of this process while it held the lock, waits forever: agents must finish their commands
  /// first.
  ~CVekInet() override;

  std::uint32_t Initialize(std::uint32_t flag, const char* text);
  std::uint32_t Cleanup();

  std::uint32_t Connect(const char* url, const char* credential, std::uint32_t reserved,
                        std::uint32_t* handle);
  std::uint32_t Disconnect(std::uint32_t handle);

  std::uint32_t GetVersion(std::uint32_t handle, std::uint16_t* major, std::uint16_t* minor);
  /// Only the low 16 bits of `type` and `count` are used, here and below.
  std::uint32_t GetPackageName(std::uint32_t handle, std::uint32_t type, std::uint32_t count,
                               const char* const* identities, char* name, std::uint32_t* size);
  std::uint32_t SendPackage(std::uint32_t handle, std::uint32_t type, std::uint32_t count,
                            const char* const* identities, const char* path, char* name,
                            std::uint32_t* size);
  std::uint32_t DownloadFile(std::uint32_t handle, const char* target, const char* path,
                             orla_progress_fn progress, orla_progress_record* record,
                             const char* counter);

  /// Writes the request target of a command to `target`, which has `size` bytes. `path` is the path
  /// of the URL. The command is the version if `type` is 0; otherwise it is an upload if `upload`
  /// is true, and a package name if not. Returns false, with an empty target, if an identity is
  /// null or the text does not fit.
  static bool BuildCommand(const RWCString& path, std::uint32_t type, std::uint32_t count,
                           const char* const* identities, bool upload, char* target,
                           std::size_t size);
  /// The same for an upload of `fileName`, which may be null or empty. Returns false if the file
  /// name does not fit, and `target` is then the text without it.
  static bool BuildUpload(const RWCString& path, std::uint32_t type, std::uint32_t count,
                          const char* const* identities, const char* fileName, char* target,
                          std::size_t size);

  /// Writes the calling thread's code. Returns 1 if there is none, else 0.
  std::uint32_t LastError(std::uint32_t* code);
  /// Copies the library-wide message. A message of `size` bytes or more is cut to `size` bytes and
  /// not terminated. Returns 0.
  std::uint32_t LastErrorMessage(char* buffer, std::uint32_t size);

  /// Sets the calling thread's code, or the system's last error if `code` is 0xFFFFFFFF. Returns
  /// the code that was set.
  std::uint32_t SetCode(std::uint32_t code);
  std::uint32_t SetCodeFromSystem();
  std::uint32_t OpenThreadRecord();
  std::uint32_t CloseThreadRecord();
  /// Sets the library-wide message. A null `text` changes nothing.
  void SetMessage(const char* text);

 private:
  using Connection = RWTHandle<CInetCntHandle>;

  void DropConnections();
  // The caller of these two holds the table's lock as writer. They return 0 when there is no
  // connection that can be used.
  std::uint32_t ReuseFree(const char* url, const char* credential, std::uint32_t reserved);
  std::uint32_t AddNew(const char* url, const char* credential, std::uint32_t reserved);
  /// The connection with that handle, in use or not; null if there is none. The caller holds the
  /// table's lock.
  CInetCntHandle* Search(std::uint32_t handle);
  /// The same, but acquires the lock for the search and releases it. The returned reference keeps
  /// the connection alive afterwards. Throws error 1 if the table cannot be locked.
  Connection FindHandle(std::uint32_t handle);
  void SetMessageFrom(const CInetCntHandle& connection);

  CVekGuard guard_;
  CVekErrStorage errors_;
  std::atomic<bool> initialized_{false};
  CVekCritSec messageLock_;
  char message_[ORLA_MESSAGE_SIZE] ORLA_GUARDED_BY(messageLock_) = {};
};

}  // namespace orla
