#include "client/CInetCntHandle.h"

#include "platform/winapi.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

#include "client/CArArr.h"
#include "client/MapHttpStatus.h"
#include "client/ReadBody.h"
#include "client/VekRWHttpClient.h"
#include "foundation/RWxmsg.h"

namespace orla {

namespace {

constexpr char kTransportInternalError[] = "Transport internal error";

constexpr std::uint32_t kDefaultPort = 80;

/// The limit of each wait for the server, in milliseconds.
constexpr int kServerTimeout = 300000;

void setTimeout(const VekRWHttpClient& client, int option) {
  client.portal().socket().setsockopt(SOL_SOCKET, option, &kServerTimeout, sizeof kServerTimeout);
}

std::uint32_t makeHandle(const CInetCntHandle* connection) {
  if constexpr (sizeof(connection) == sizeof(std::uint32_t)) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(connection));
  } else {
    static std::atomic<std::uint32_t> last{0};
    std::uint32_t handle = ++last;
    while (handle == 0) handle = ++last;
    return handle;
  }
}

}  // namespace

CInetCntHandle::CInetCntHandle() : handle_(makeHandle(this)) {
  SetMessage(kTransportInternalError);
}

CInetCntHandle::~CInetCntHandle() = default;

bool CInetCntHandle::OpenTarget(const char* url, const char* credential, std::uint32_t) {
  if (!url) url = "";
  if (!credential) credential = "";
  RWURL parsed{RWCString(url)};
  const bool valid = parsed.isValid();
  {
    const CVekCritSecLock lock(lock_);
    url_ = std::move(parsed);
    credential_ = credential;
    credentialCopy_ = credential;
  }
  if (valid) {
    SetMessage(kTransportInternalError);
    return true;
  }
  char text[kMessageSize + 1] = {};
  _snprintf(text, kMessageSize, "URL '%s' is invalid.", url);
  SetMessage(text);
  return false;
}

bool CInetCntHandle::CheckConnection() {
  SetMessage(kTransportInternalError);
  return true;
}

CInetCntHandle::Server CInetCntHandle::GetServer() const {
  const CVekCritSecLock lock(lock_);
  return {url_.host(), url_.port(), url_.path()};
}

void CInetCntHandle::CopyMessage(char (&buffer)[kMessageSize]) const {
  const CVekCritSecLock lock(lock_);
  std::memcpy(buffer, message_, kMessageSize);
}

void CInetCntHandle::SetMessage(const char* text) {
  const CVekCritSecLock lock(lock_);
  _snprintf(message_, kMessageSize, "%s", text);
  message_[kMessageSize - 1] = '\0';
}

std::uint32_t CInetCntHandle::Get(const Server& server, const char* path, CHttpRequestArg* arg,
                                  std::uint32_t timeout) {
  return Transact(server, kHttpGet, path, RWCString(), arg, timeout);
}

std::uint32_t CInetCntHandle::Post(const Server& server, const char* path, RWCString body,
                                   CHttpRequestArg* arg, std::uint32_t timeout) {
  return Transact(server, kHttpPost, path, std::move(body), arg, timeout);
}

void CInetCntHandle::ConnectClient(VekRWHttpClient& client, const RWCString& host,
                                   std::uint32_t port, std::uint32_t timeout) {
  client.connect(host, port, timeout);
  setTimeout(client, SO_RCVTIMEO);
}

std::uint32_t CInetCntHandle::PortNumber(const RWCString& text) {
  constexpr std::uint32_t kNoPort = 0xFFFFFFFF;
  if (text.empty()) return kDefaultPort;
  const long long port = std::strtoll(text.c_str(), nullptr, 10);
  return port < 0 || port > kNoPort ? kNoPort : static_cast<std::uint32_t>(port);
}

std::uint32_t CInetCntHandle::Transact(const Server& server, const char* method, const char* path,
                                       RWCString body, CHttpRequestArg* arg,
                                       std::uint32_t timeout) {
  if (!path || !arg) {
    SetMessage(kTransportInternalError);
    return ORLA_ERROR_GENERAL;
  }
  try {
    VekRWHttpClient client(new VekRWHttpClientImp);
    ConnectClient(client, server.host, PortNumber(server.port), timeout);
    // A server that stops reading must not block an upload forever.
    if (!body.empty()) setTimeout(client, SO_SNDTIMEO);
    client.submit(RWHttpRequest(method, path, std::move(body)));

    using BodyFunctor = RWTFunctor1GA1Imp<RWPortal, void, RWPortal, CHttpRequestArg*>;
    const RWHttpReply reply =
        client.getReply(RWHttpClientImp::BodyHandler(new BodyFunctor(ReadBody, arg)), timeout);
    if (arg->errorCode != 0) {
      SetMessage(kTransportInternalError);
      return arg->errorCode;
    }
    char message[kMessageSize];  // Not set for status 200.
    const std::uint32_t code = MapHttpStatus(reply.getStatusCode(), message, sizeof message);
    if (code != 0) SetMessage(message);
    return code;
  } catch (const RWxmsg& error) {  // Also RWNetOperationTimeoutError, with the same result.
    SetMessage(error.why());
  } catch (const std::bad_alloc&) {
    SetMessage(kNoMemoryText);  // A large reply must not end the agent's process.
  } catch (const std::length_error&) {
    SetMessage(kNoMemoryText);
  } catch (eaerrcode) {
    SetMessage(kNoMemoryText);
  } catch (const std::exception&) {
    SetMessage(kTransportInternalError);  // The agent's progress function threw.
  }
  return ORLA_ERROR_TRANSPORT;
}

}  // namespace orla
