#include "net/RWSockAddr.h"

#include <utility>
#include <vector>

#include "foundation/RWxmsg.h"

namespace orla {

RWSockAddr::RWSockAddr(std::unique_ptr<const RWSockAddrBase> address)
    : body_(address ? new Body(std::move(address)) : nullptr) {}

RWCString RWSockAddr::text() const {
  return isValid() ? address().text() : "no address";
}

const RWSockAddrBase& RWSockAddr::address() const {
  if (!isValid()) throw RWInternalErr("RWSockAddr: no address");
  return *body_->address;
}

RWCString normalizedAddressText(const RWCString& text) {
  // Copies the text to `plain`, of which `size` bytes are in use. `openBrackets` holds the
  // positions of the "(" that are still open. A ")" drops the text from the last of them on.
  RWCString plain = text;
  std::size_t size = 0;
  std::vector<std::size_t> openBrackets;
  for (const char c : text) {
    if (c == ')' && !openBrackets.empty()) {
      size = openBrackets.back();
      openBrackets.pop_back();
      continue;
    }
    if (c == '(') openBrackets.push_back(size);
    plain[size++] = c == ':' ? ' ' : c;
  }
  plain.resize(size);
  return RWCString(stripLeadingBlanks(stripTrailingBlanks(plain)));
}

}  // namespace orla
