#pragma once

#include <httplib.h>
#include <string>

namespace orla::devserver {

/// Refuses with 403 a request that a browser may have sent for a page of another site. Such a page
/// must neither store packages nor read them, and with DNS rebinding its own host name leads to
/// this server. Refused are:
///
/// - a `Host` that is neither an address, nor "localhost", nor `ownHost`, the value of --host;
/// - an `Origin` other than "http://" followed by the `Host`;
/// - a `Sec-Fetch-Site` of "cross-site".
///
/// Agents and other programs may leave all three headers out.
void checkSource(const httplib::Request& request, const std::string& ownHost);

}  // namespace orla::devserver
