#include "advice.h"

namespace orla {
namespace {

/* What the library says of any failure that it met on this side of the wire. */
constexpr char kUninformative[] = "Transport internal error";

constexpr char kTooLong[] = "the path, the name or the identities are too long";

/* The cause of a failure for which the library has no message. */
std::string cause(const Request& request, orla_status status) {
  const std::string& file = request.file;
  if (status == ORLA_ERROR_ARGUMENT) return kTooLong;
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

std::string advise_general(const Request& request, const std::string& message) {
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

std::string advise(const Request& request, orla_status status, const std::string& message) {
  const std::string& url = request.url;
  const std::string& file = request.file;
  switch (status) {
    case ORLA_ERROR_TRANSPORT:
      if (message.empty() || message.starts_with("HTTP ")) {
        return "check the path of " + url + ": something else answers there";
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
      return url + " has no " + request.target + ", or does not give it out; check the target";
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
      return advise_general(request, message);
  }
}

}  // namespace

Failure describe(const Request& request, orla_status status, const std::string& library_message) {
  std::string text = library_message;
  if (text.empty()) {
    text = cause(request, status);
  } else if (text == kUninformative) {
    text += " (" + cause(request, status) + ")";
  }
  return {"status " + std::to_string(status) + ": " + text,
          advise(request, status, library_message)};
}

std::string meaning(Command command, orla_status status) {
  switch (status) {
    case ORLA_OK:
      return "another size than --size says";
    case ORLA_ERROR_TRANSPORT:
      return command == Command::kVersion
                 ? "the network, the server's reply or the wait for it failed, or the answer is no "
                   "version"
                 : "the network, the server's reply or the wait for it failed";
    case ORLA_ERROR_ARGUMENT:
      return kTooLong;
    case ORLA_ERROR_UNAUTHORIZED:
      return command == Command::kGet ? "HTTP 401, or the file cannot be replaced" : "HTTP 401";
    case ORLA_ERROR_NO_SUCH_DOWNLOAD:
    case ORLA_ERROR_NOT_FOUND:
      return "HTTP 404 or 403";
    case ORLA_ERROR_TOO_LARGE:
      return "the package has 4 GiB or more, or is too large for the memory";
    case ORLA_ERROR_REQUEST:
      return "HTTP 400 or 501";
    case ORLA_ERROR_NOT_MODIFIED:
      return "HTTP 304";
    case ORLA_ERROR_NO_SUCH_FILE:
      return "there is no such package";
    case ORLA_ERROR_SHORT_READ:
      return "the package cannot be read to its end";
    default:
      if (command == Command::kGet) return "another HTTP status, or the file cannot be written";
      if (command == Command::kSend) return "another HTTP status, or the package cannot be opened";
      return "another HTTP status";
  }
}

}  // namespace orla
