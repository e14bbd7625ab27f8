#include "advice.h"

namespace orla::cli {
namespace {

/* What the library says of any failure that it met on this side of the wire. */
constexpr char kUninformative[] = "Transport internal error";

/* Whether the library's message may tell something: else it is none, kUninformative, or that of an
   earlier failure. */
bool hasMessage(orla_status status) {
  return status != ORLA_ERROR_ARGUMENT && status != ORLA_ERROR_TOO_LARGE &&
         status != ORLA_ERROR_NO_SUCH_FILE && status != ORLA_ERROR_SHORT_READ;
}

/* The cause of a failure for which the library has no message. */
std::string causeOf(const Request& request, orla_status status) {
  const std::string& file = request.file;
  if (status == ORLA_ERROR_ARGUMENT) return "the path, the name or the identities are too long";
  switch (request.command) {
    case Command::kVersion:
      return status == ORLA_ERROR_TRANSPORT ? "the server's answer is no version" : "no connection";
    case Command::kName:
      return "no connection";
    case Command::kSend:
      if (status == ORLA_ERROR_TOO_LARGE) {
        return "4 GiB or more, or too large for the memory: " + file;
      }
      if (status == ORLA_ERROR_NO_SUCH_FILE) return "no such file: " + file;
      if (status == ORLA_ERROR_SHORT_READ) return "cannot be read to its end: " + file;
      return "cannot be opened: " + file;
    default:
      if (status == ORLA_ERROR_UNAUTHORIZED) return "cannot be replaced: " + file;
      return "cannot be written: " + file;
  }
}

std::string adviceForGeneralError(const Request& request, const std::string& message) {
  if (message.starts_with("HTTP ")) {
    return request.url + " refused or redirects; its log tells why";
  }
  if (request.command == Command::kGet) {
    return "check that the folder of " + request.file + " exists, may be written and has room";
  }
  if (request.command == Command::kSend) {
    return "check that " + request.file + " is a file that may be read";
  }
  return "the library could not connect to " + request.url + "; try again";
}

std::string adviceFor(const Request& request, orla_status status, const std::string& message) {
  const std::string& url = request.url;
  const std::string& file = request.file;
  switch (status) {
    case ORLA_ERROR_TRANSPORT:
      if (message.empty() || message.starts_with("HTTP ")) {
        return "check the path of " + url + ": something else answers there";
      }
      if (message.starts_with("RWInetHostNotFoundError")) {
        return "check the host's name in " + url + ", and that this machine finds its IPv4 address";
      }
      return "check that a management server runs at " + url + ", and the network on the way";
    case ORLA_ERROR_ARGUMENT:
      return "shorten them: the path of " + url +
             ", the identities and the name take at most 2069 bytes together, a file's path 519";
    case ORLA_ERROR_UNAUTHORIZED:
      if (!message.starts_with("HTTP ")) {
        return "end the programs that use it, and check that it is there and may be replaced";
      }
      return url + " wants a log-in, which this client has none for";
    case ORLA_ERROR_NO_SUCH_DOWNLOAD:
      return "the server has no " + request.target +
             ", or does not give it out; check the target: of " + url + " only host and port count";
    case ORLA_ERROR_NOT_FOUND:
      return "check the path of " + url + ": no management server answers there, or not to you";
    case ORLA_ERROR_TOO_LARGE:
      return "split the package, or free memory";
    case ORLA_ERROR_REQUEST:
      return url + " does not take this request; its log tells why";
    case ORLA_ERROR_NOT_MODIFIED:
      return url + " has nothing new; a cache on the way may answer in its place";
    case ORLA_ERROR_NO_SUCH_FILE:
      return "check its path and that of its folder";
    case ORLA_ERROR_SHORT_READ:
      return "check that no other program writes " + file + ", and the disk; then send it again";
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
            request.file + " holds what came; check --size, or fetch it again"};
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
