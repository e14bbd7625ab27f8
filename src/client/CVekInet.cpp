#include "client/CVekInet.h"

#include "platform/winapi.h"

#include <exception>

#include "client/CVekExceptionImp.h"

namespace orla {

namespace {

constexpr std::int32_t kGrowBy = 10;

/// Builds the library's version text and drops it: initialization builds it, but no export returns
/// it.
void makeVersionText() {
  char text[64];
  _snprintf(text, sizeof text, "Version %s Build %s ", ORLA_VERSION, ORLA_BUILD);
}

void takeExclusively(CVekWriterLock& lock, CVekGuard& guard) {
  if (!lock.Lock(&guard)) raiseError(ORLA_ERROR_GENERAL);
}

}  // namespace

CVekInet::CVekInet(const char* guardName)
    : CArArr<CInetCntHandle*>(kGrowBy), errors_("ORLAHost.dll") {
  // A failure is not reported here. Without its objects the guard refuses every lock, and each
  // operation reports that.
  guard_.Create(guardName);
}

CVekInet::~CVekInet() {
  // No other thread uses the object any more, so the connections are freed even without the lock.
  try {
    Cleanup();
  } catch (const CVekExceptionImp&) {
    DropConnections();
  }
  guard_.Close();
}

std::uint32_t CVekInet::Initialize(std::uint32_t flag, const char* text) {
  if (initialized_) return ORLA_OK;
  if ((flag & 0xFFFF) != 0 && (!text || *text == '\0')) return ORLA_ERROR_ARGUMENT;
  makeVersionText();
  initialized_ = true;
  return ORLA_OK;
}

std::uint32_t CVekInet::Cleanup() {
  CVekWriterLock lock;
  takeExclusively(lock, guard_);
  DropConnections();
  initialized_ = false;
  return ORLA_OK;
}

/// Empties the table, which the caller has locked as writer.
void CVekInet::DropConnections() {
  for (std::int32_t index = GetCount() - 1; index >= 0; --index) {
    try {
      // Drops the table's reference. A command that is still running keeps the object alive.
      const Connection dropped(ElementAt(index));
      // Never null, but without the test GCC for Windows warns of a null pointer here.
      if (dropped) dropped->removeReference();
    } catch (...) {
      // Failing to delete one connection must not leak the others.
    }
  }
  RemoveAll();
}

std::uint32_t CVekInet::Connect(const char* url, const char* credential, std::uint32_t reserved,
                                std::uint32_t* handle) {
  if (!handle) return ORLA_ERROR_GENERAL;
  if (initialized_) {
    CVekWriterLock lock;
    takeExclusively(lock, guard_);
    std::uint32_t found = ReuseFree(url, credential, reserved);
    if (found == 0) found = AddNew(url, credential, reserved);
    *handle = found;
  }
  // Before initialization the result depends on the value that the caller's variable already has,
  // because agents rely on that.
  return *handle != 0 ? ORLA_OK : ORLA_ERROR_GENERAL;
}

std::uint32_t CVekInet::ReuseFree(const char* url, const char* credential, std::uint32_t reserved) {
  for (std::int32_t index = 0; index < GetCount(); ++index) {
    try {
      CInetCntHandle* const connection = ElementAt(index);
      if (connection->InUse()) continue;
      if (!connection->OpenTarget(url, credential, reserved)) continue;
      connection->SetInUse(true);
      return connection->Handle();
    } catch (...) {
      // Try the next slot.
    }
  }
  return 0;
}

std::uint32_t CVekInet::AddNew(const char* url, const char* credential, std::uint32_t reserved) {
  // Another thread may have run ORLACleanup before the table was locked.
  if (!initialized_ || GetCount() == ORLA_MAX_CONNECTIONS) return 0;
  try {
    const Connection connection(new CInetCntHandle);
    if (!connection->OpenTarget(url, credential, reserved) || !connection->CheckConnection()) {
      SetMessageFrom(*connection);
      return 0;
    }
    Add(connection.get());
    connection->addReference();  // The table's reference.
    connection->SetInUse(true);
    return connection->Handle();
  } catch (const std::exception&) {
    return 0;  // Out of memory.
  } catch (eaerrcode) {
    return 0;
  }
}

std::uint32_t CVekInet::Disconnect(std::uint32_t handle) {
  CVekWriterLock lock;
  takeExclusively(lock, guard_);
  CInetCntHandle* const connection = Search(handle);
  if (!connection) return ORLA_ERROR_ARGUMENT;
  connection->SetInUse(false);
  return ORLA_OK;
}

CInetCntHandle* CVekInet::Search(std::uint32_t handle) {
  for (std::int32_t index = GetCount() - 1; index >= 0; --index) {
    CInetCntHandle* const connection = ElementAt(index);
    if (connection->Handle() == handle) return connection;
  }
  return nullptr;
}

CVekInet::Connection CVekInet::FindHandle(std::uint32_t handle) {
  CVekReaderLock lock;
  if (!lock.Lock(&guard_)) raiseError(ORLA_ERROR_GENERAL);
  return Connection(Search(handle));
}

std::uint32_t CVekInet::LastError(std::uint32_t* code) {
  *code = errors_.GetErrorCode();
  return *code == CVekErrStorage::kNoCode ? 1 : 0;
}

std::uint32_t CVekInet::LastErrorMessage(char* buffer, std::uint32_t size) {
  const CVekCritSecLock lock(messageLock_);
  if (buffer) _snprintf(buffer, size, "%s", message_);
  return 0;
}

std::uint32_t CVekInet::SetCode(std::uint32_t code) {
  if (code == CVekErrStorage::kNoCode) code = GetLastError();
  errors_.SetErrorCode(code);
  return code;
}

std::uint32_t CVekInet::SetCodeFromSystem() {
  // If the last error is the value that means "no code", SetCode asks the system once more.
  return SetCode(GetLastError());
}

std::uint32_t CVekInet::OpenThreadRecord() {
  errors_.EnsureEntry();
  return 0;
}

std::uint32_t CVekInet::CloseThreadRecord() {
  errors_.RemoveEntry();
  return 0;
}

void CVekInet::SetMessage(const char* text) {
  if (!text) return;
  const CVekCritSecLock lock(messageLock_);
  _snprintf(message_, sizeof message_, "%s", text);
  message_[sizeof message_ - 1] = '\0';
}

void CVekInet::SetMessageFrom(const CInetCntHandle& connection) {
  char message[CInetCntHandle::kMessageSize];
  connection.CopyMessage(message);
  SetMessage(message);
}

}  // namespace orla
