#include "client/MapHttpStatus.h"

#include "platform/winapi.h"

#include "orla/ORLACl.h"

namespace orla {

std::uint32_t MapHttpStatus(int status, char* buffer, std::size_t size) {
  struct Meaning {
    int status;
    std::uint32_t code;
    const char* message;
  };
  // 403 and 501 share the texts of 404 and 400, because they mean the same to the agent.
  static constexpr Meaning kMeanings[] = {
      {404, ORLA_ERROR_NOT_FOUND, "HTTP 404: file not found."},
      {403, ORLA_ERROR_NOT_FOUND, "HTTP 404: file not found."},
      {304, ORLA_ERROR_NOT_MODIFIED, "HTTP 304: file not modified."},
      {401, ORLA_ERROR_UNAUTHORIZED, "HTTP 401: unauthorized."},
      {400, ORLA_ERROR_REQUEST, "HTTP 400: bad request."},
      {501, ORLA_ERROR_REQUEST, "HTTP 400: bad request."},
  };

  if (status == 200) return ORLA_OK;
  for (const Meaning& meaning : kMeanings) {
    if (meaning.status != status) continue;
    _snprintf(buffer, size, "%s", meaning.message);
    return meaning.code;
  }
  _snprintf(buffer, size, "HTTP protocol error: %d", status);
  return ORLA_ERROR_GENERAL;
}

}  // namespace orla
