#include "client/CVekInet.h"

#include "platform/winapi.h"

#include <exception>

#include "client/CVekExceptionImp.h"

namespace orla {

namespace {

constexpr std::int32_t kGrowBy = 10;

/// What the library is. Initialisation puts it together and drops it: no export gives it away.
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
  // Not reported: without its objects the guard refuses every lock, and each operation says so.
  guard_.Create(guardName);
}

CVekInet::~CVekInet() {
  // Nobody else is left to be kept out, so that the connections go even when the guard fails.
  try {
    Cleanup();
  } catch (const CVekExceptionImp&) {
    DropConnections();
  }
  guard_.Close();
}

std::uint32_t CVekInet::Initialize(std::uint32_t flag, const char* text) {
  if (initialised_) return ORLA_OK;
  if ((flag & 0xFFFF) != 0 && (!text || *text == '\0')) return ORLA_ERROR_ARGUMENT;
  makeVersionText();
  initialised_ = true;
  return ORLA_OK;
}

std::uint32_t CVekInet::Cleanup() {
  CVekWriterLock lock;
  takeExclusively(lock, guard_);
  DropConnections();
  initialised_ = false;
  return ORLA_OK;
}

/// Empties the table, which the caller has locked.
void CVekInet::DropConnections() {
  for (std::int32_t index = GetCount() - 1; index >= 0; --index) {
    try {
      // Drops the table's reference; a command that still runs keeps the object until it ends.
      const Connection dropped(ElementAt(index));
      dropped->removeReference();
    } catch (...) {
      // One connection that cannot be deleted does not keep the others.
    }
  }
  RemoveAll();
}

std::uint32_t CVekInet::Connect(const char* url, const char* credential, std::uint32_t reserved,
                                std::uint32_t* handle) {
  if (!handle) return ORLA_ERROR_GENERAL;
  if (initialised_) {
    CVekWriterLock lock;
    takeExclusively(lock, guard_);
    std::uint32_t found = ReuseFree(url, credential, reserved);
    if (found == 0) found = AddNew(url, credential, reserved);
    *handle = found;
  }
  // Uninitialised, the answer rests on what the caller's variable held: agents rely on it.
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
      // The next slot may serve.
    }
  }
  return 0;
}

std::uint32_t CVekInet::AddNew(const char* url, const char* credential, std::uint32_t reserved) {
  // Another thread may have run ORLACleanup before the table was locked.
  if (!initialised_ || GetCount() == ORLA_MAX_CONNECTIONS) return 0;
  try {
    const Connection connection(new CInetCntHandle);
    if (!connection->OpenTarget(url, credential, reserved) || !connection->CheckConnection()) {
      SetMessageFrom(*connection);
      return 0;
    }
    Add(connection.get());
    connection->addReference();  // The table's.
    connection->SetInUse(true);
    return connection->Handle();
  } catch (const std::exception&) {
    return 0;  // No memory.
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
  // SetCode asks the system once more when its error is the value that means none.
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
