#include "RequestSource.h"

#include <algorithm>
#include <arpa/inet.h>
#include <optional>
#include <strings.h>

#include "Refusal.h"

namespace orla::devserver {
namespace {

bool equalsIgnoringCase(const std::string& a, const std::string& b) {
  return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

/// Returns the host of a `Host` value, with the brackets of an IPv6 address. Returns none if the
/// text after the host is not a port.
std::optional<std::string> hostWithoutPort(const std::string& value) {
  const std::size_t bracket = value.starts_with('[') ? value.find(']') : 0;
  const std::size_t colon = std::min(value.find(':', bracket), value.size());
  if (value.find_first_not_of("0123456789", std::min(colon + 1, value.size())) != value.npos) {
    return std::nullopt;
  }
  return value.substr(0, colon);
}

bool isAddress(const std::string& host) {
  in6_addr address{};
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    return ::inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &address) == 1;
  }
  // Agents also accept the short, octal and hexadecimal forms of an address, which cannot be host
  // names.
  return host.find_first_not_of("0123456789abcdefABCDEFxX.") == host.npos &&
         ::inet_aton(host.c_str(), reinterpret_cast<in_addr*>(&address)) != 0;
}

bool isOwnHost(const std::string& value, const std::string& ownHost) {
  const std::optional<std::string> host = hostWithoutPort(value);
  return host && (isAddress(*host) || equalsIgnoringCase(*host, "localhost") ||
                  equalsIgnoringCase(*host, ownHost));
}

}  // namespace

void checkSource(const httplib::Request& request, const std::string& ownHost) {
  std::string origin;
  for (std::size_t i = 0; i < request.get_header_value_count("Host"); ++i) {
    const std::string host = request.get_header_value("Host", i);
    if (!isOwnHost(host, ownHost)) {
      throw Refusal(403,
                    "the Host header is neither an address, localhost, nor the value of --host");
    }
    origin = "http://" + host;
  }
  for (std::size_t i = 0; i < request.get_header_value_count("Origin"); ++i) {
    if (!equalsIgnoringCase(request.get_header_value("Origin", i), origin)) {
      throw Refusal(403,
                    "the Origin header names another site, whose pages may not use this server");
    }
  }
  for (std::size_t i = 0; i < request.get_header_value_count("Sec-Fetch-Site"); ++i) {
    if (equalsIgnoringCase(request.get_header_value("Sec-Fetch-Site", i), "cross-site")) {
      throw Refusal(
          403,
          "a page of another site made the browser send this; to see it, type the address "
          "into the browser (Sec-Fetch-Site: cross-site)");
    }
  }
}

}  // namespace orla::devserver
