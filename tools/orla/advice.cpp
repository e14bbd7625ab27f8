#include "advice.h"

namespace orla::cli {
namespace {

/// The message that the library sets for every local failure, for example if it cannot write a
/// file.
constexpr char kUninformative[] = "Transport internal error";

/// Returns false for a status that never has a useful message. With such a status the library's
/// message is empty, is kUninformative, or belongs to an earlier failure.
bool hasMessage(orla_status status) {
  return status != ORLA_ERROR_ARGUMENT && status != ORLA_ERROR_TOO_LARGE &&
         status != ORLA_ERROR_NO_SUCH_FILE && status != ORLA_ERROR_SHORT_READ;
}

/// Returns the probable cause of a failure for which the library has no informative message.
std::string causeOf(const Request& request, orla_status status) {
  const std::string& file = request.file;
  if (status == ORLA_ERROR_ARGUMENT) return "the path, the name or the identities are too long";
  switch (request.command) {
    case Command::kVersion:
      return status == ORLA_ERROR_TRANSPORT ? "the server's answer is not a version"
                                            : "no connection";
    case Command::kName:
      return "no connection";
    case Command::kSend:
      if (status == ORLA_ERROR_TOO_LARGE) {
        return "the file has 4 GiB or more, or does not fit into memory: " + file;
      }
      if (status == ORLA_ERROR_NO_SUCH_FILE) return "no such file: " + file;
      if (status == ORLA_ERROR_SHORT_READ) return "the file cannot be read completely: " + file;
      return "the file cannot be opened: " + file;
    default:
      if (status == ORLA_ERROR_UNAUTHORIZED) return "the file cannot be replaced: " + file;
      return "the file cannot be written: " + file;
  }
}

std::string adviceForGeneralError(const Request& request, const std::string& message) {
  if (message.starts_with("HTTP ")) {
    return request.url + " refused or redirected the request; its log shows why";
  }
  if (request.command == Command::kGet) {
    return "check that the directory of " + request.file +
           " exists, is writable and has free space";
  }
  if (request.command == Command::kSend) {
    return "check that " + request.file + " is a readable file";
  }
  return "the library could not connect to " + request.url + "; try again";
}

std::string adviceFor(const Request& request, orla_status status, const std::string& message) {
  const std::string& url = request.url;
  const std::string& file = request.file;
  switch (status) {
    case ORLA_ERROR_TRANSPORT:
      if (message.empty() || message.starts_with("HTTP ")) {
        return "check the path of " + url + ": another kind of server answers there";
      }
      if (message.starts_with("RWInetHostNotFoundError")) {
        return "check the host name in " + url +
               ", and that this machine can look up its IPv4 address";
      }
      return "check that a management server runs at " + url + ", and that the network reaches it";
    case ORLA_ERROR_ARGUMENT:
      return "use shorter ones: the path of " + url +
             ", the identities and the name may have 2069 bytes together, and the path of a file "
             "519 bytes";
    case ORLA_ERROR_UNAUTHORIZED:
      if (!message.starts_with("HTTP ")) {
        return "close the programs that use " + file +
               ", and check that the file still exists and is writable";
      }
      return url + " requires a login, which this client does not support";
    case ORLA_ERROR_NO_SUCH_DOWNLOAD:
      return "the server does not have " + request.target +
             ", or denies access; check the target, because only host and port of " + url +
             " are used";
    case ORLA_ERROR_NOT_FOUND:
      return "check the path of " + url +
             ": no management server answers there, or it denies access";
    case ORLA_ERROR_TOO_LARGE:
      return "split the package, or free memory";
    case ORLA_ERROR_REQUEST:
      return url + " does not accept this request; its log shows why";
    case ORLA_ERROR_NOT_MODIFIED:
      return url + " has nothing new, or a cache answers instead of the server";
    case ORLA_ERROR_NO_SUCH_FILE:
      return "check the path of the file and of its directory";
    case ORLA_ERROR_SHORT_READ:
      return "check that no other program writes to " + file +
             ", and that the disk is intact; then send again";
    default:
      return adviceForGeneralError(request, message);
  }
}

}  // namespace

bool hasFailed(const Request& request, const Outcome& outcome) {
  return outcome.status != ORLA_OK || (request.command == Command::kGet && request.size != 0 &&
                                       outcome.bytes != static_cast<std::uint64_t>(request.size));
}

Failure describe(const Request& request, const Outcome& outcome,
                 const std::string& libraryMessage) {
  const orla_status status = outcome.status;
  if (status == ORLA_OK) {
    return {"received " + std::to_string(outcome.bytes) + " bytes, not the " +
                std::to_string(request.size) + " of --size",
            request.file + " has what was received; check --size, or download it again"};
  }
  const std::string message = hasMessage(status) ? libraryMessage : "";
  std::string text = message;
  if (text.empty()) {
    text = causeOf(request, status);
  } else if (text == kUninformative) {
    text += " (" + causeOf(request, status) + ")";
  }
  return {"status " + std::to_string(status) + ": " + text, adviceFor(request, status, message)};
}

}  // namespace orla::cli
