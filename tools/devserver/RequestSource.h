#pragma once

#include <httplib.h>
#include <string>

namespace orla::devserver {

/// Throws a Refusal with status 403 if a browser may have sent the request for a page of another
/// site, because such a page must neither store nor read packages. The `Host` is checked, too,
/// because another site can make its own host name resolve to the address of this server (DNS
/// rebinding). A request is refused if it has one of these headers:
///
/// - a `Host` that is neither an address, nor "localhost", nor `ownHost`, the value of --host;
/// - an `Origin` other than "http://" followed by the `Host`;
/// - a `Sec-Fetch-Site` of "cross-site".
///
/// A request without these headers is accepted, because agents and other programs may omit them.
void checkSource(const httplib::Request& request, const std::string& ownHost);

}  // namespace orla::devserver
