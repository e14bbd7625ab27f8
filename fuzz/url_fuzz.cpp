// URLs. Those of HTTP are compared with a second parser.
#include "fuzz.h"
#include "http/RWURL.h"

void orla::fuzz(const RWCString& input) {
  const RWURL url(input);
  REQUIRE(url.text() == input && url.isValid() == url.errorText().empty());
  const RWCString scheme = toLowerAscii(input.substr(0, input.find(':')));
  if (!url.isHttpForm()) return;
  const RWCString rest = input.substr(scheme.size() + 1);
  REQUIRE((scheme == "http" || scheme == "https") && url.isValid() == rest.starts_with("//"));
  if (!url.isValid()) return;
  const std::size_t slash = std::min(rest.find('/', 2), rest.size());
  const std::size_t colon = std::min(rest.find(':', 2), slash);
  const std::size_t mark = std::min(rest.find('?', slash), rest.size());
  const auto between = [&](std::size_t from, std::size_t to) {
    return from < to ? rest.substr(from + 1, to - from - 1) : "";
  };
  REQUIRE(url.host() == between(1, colon) && url.port() == between(colon, slash));
  REQUIRE(url.path() == between(slash, mark) && url.query() == between(mark, rest.size()));
}
