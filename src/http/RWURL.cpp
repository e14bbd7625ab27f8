#include "http/RWURL.h"

namespace orla {

namespace {

/// A text that is split at a separator, which belongs to neither part. If there is no separator,
/// `before` is the whole text.
struct Cut {
  std::string_view before;
  std::string_view after;
  bool found;
};

Cut cutAt(std::string_view text, std::size_t at) {
  if (at == std::string_view::npos) return {text, {}, false};
  return {text.substr(0, at), text.substr(at + 1), true};
}

Cut cutAtFirst(std::string_view text, char separator) {
  return cutAt(text, text.find(separator));
}

Cut cutAtLast(std::string_view text, char separator) {
  return cutAt(text, text.rfind(separator));
}

/// Removes the "//" before an authority. Returns false if there is none.
bool stripSlashes(std::string_view& rest) {
  if (!rest.starts_with("//")) return false;
  rest.remove_prefix(2);
  return true;
}

}  // namespace

RWURL::RWURL(const RWCString& url) : text_(url) {
  parse();
}

void RWURL::parse() {
  const Cut cut = cutAtFirst(text_, ':');
  if (!cut.found) return fail("format unrecognized");
  const RWCString scheme = toLowerAscii(RWCString(cut.before));
  parts_.scheme = scheme;
  valid_ = true;
  if (scheme == "http" || scheme == "https") return parseHttp(cut.after);
  if (scheme == "ftp") return parseFtp(cut.after);
  if (scheme == "telnet") return parseTelnet(cut.after);
  if (scheme == "file") return parseFile(cut.after);
  if (scheme == "nntp") return parseNntp(cut.after);
  if (scheme == "news") return parseNews(cut.after);
  if (scheme == "mailto") return parseMailto(cut.after);
  fail("format unrecognized");
  parts_.scheme = scheme;
}

void RWURL::parseHttp(std::string_view rest) {
  httpForm_ = true;
  if (!stripSlashes(rest)) return fail("HTTP url format unrecognized");
  const Cut authority = cutAtFirst(rest, '/');
  splitHostAndPort(authority.before);
  const Cut path = cutAtFirst(authority.after, '?');
  parts_.path = path.before;
  parts_.query = path.after;
}

void RWURL::parseFtp(std::string_view rest) {
  constexpr const char* kError = "FTP url format unrecognized";
  constexpr std::string_view kTypeParameter = "type=";
  if (!stripSlashes(rest)) return fail(kError);
  Cut authority = cutAtFirst(rest, '/');
  splitUserInformation(authority.before);
  splitHostAndPort(authority.before);
  const Cut path = cutAtFirst(authority.after, ';');
  const std::string_view name = path.after.substr(0, kTypeParameter.size());
  if (path.found && !equalIgnoringCase(name, kTypeParameter)) return fail(kError);
  if (parts_.host.empty()) return fail(kError);
  parts_.path = path.before;
  if (path.found) parts_.type = path.after.substr(kTypeParameter.size());
}

void RWURL::parseTelnet(std::string_view rest) {
  constexpr const char* kError = "Telnet url format unrecognized";
  if (!stripSlashes(rest)) return fail(kError);
  Cut authority = cutAtFirst(rest, '/');
  splitUserInformation(authority.before);
  splitHostAndPort(authority.before);
  // A terminal session has no path.
  if (parts_.host.empty() || !authority.after.empty()) return fail(kError);
}

void RWURL::parseFile(std::string_view rest) {
  if (!stripSlashes(rest)) return fail("FILE url format unrecognized");
  const Cut host = cutAtFirst(rest, '/');
  if (!host.found) return fail("FILE url format unrecognized");
  parts_.host = host.before;
  parts_.path = host.after;
}

void RWURL::parseNntp(std::string_view rest) {
  if (!stripSlashes(rest)) return fail("NNTP url format unrecognized");
  const Cut authority = cutAtFirst(rest, '/');
  splitHostAndPort(authority.before);
  const Cut group = cutAtFirst(authority.after, '/');
  parts_.group = group.before;
  parts_.article = group.after;
  if (parts_.host.empty() || parts_.group.empty()) return fail("NNTP url format unrecognized");
}

void RWURL::parseNews(std::string_view rest) {
  const Cut cut = cutAtFirst(rest, '@');
  if (cut.found) {
    parts_.article = cut.before;
    parts_.host = cut.after;
  } else {
    parts_.group = rest;
  }
}

void RWURL::parseMailto(std::string_view rest) {
  parts_.path = rest;
}

/// Removes "user:password@" from the beginning of `authority`, if it is there.
void RWURL::splitUserInformation(std::string_view& authority) {
  const Cut cut = cutAtLast(authority, '@');
  if (!cut.found) return;
  const Cut user = cutAtFirst(cut.before, ':');
  parts_.user = user.before;
  parts_.password = user.after;
  authority = cut.after;
}

void RWURL::splitHostAndPort(std::string_view authority) {
  const Cut cut = cutAtFirst(authority, ':');
  parts_.host = cut.before;
  parts_.port = cut.after;
}

void RWURL::fail(const char* errorText) {
  valid_ = false;
  errorText_ = errorText;
  parts_ = {};
}

}  // namespace orla
