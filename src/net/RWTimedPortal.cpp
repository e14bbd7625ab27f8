#include "net/RWTimedPortal.h"

#include <algorithm>

namespace orla {

namespace {

class RWTimedPortalImp : public RWPortalImp, private RWPortal {
 public:
  RWTimedPortalImp(const RWPortal& portal, std::uint32_t timeout)
      : RWPortal(portal), timeout_(timeout) {}

  int recv(char* buffer, int length, bool* more, std::uint32_t timeout) override {
    return RWPortal::recv(buffer, length, more, shorter(timeout));
  }
  RWCString recv(std::uint32_t timeout) override { return RWPortal::recv(shorter(timeout)); }
  int recv(char* buffer, int length, bool* more) override {
    return timeout_ ? RWPortal::recv(buffer, length, more, timeout_)
                    : RWPortal::recv(buffer, length, more);
  }
  RWCString recv() override { return timeout_ ? RWPortal::recv(timeout_) : RWPortal::recv(); }
  int send(const char* buffer, int length, std::uint32_t timeout) override {
    return RWPortal::send(buffer, length, shorter(timeout));
  }
  int send(const char* buffer, int length) override {
    return timeout_ ? RWPortal::send(buffer, length, timeout_) : RWPortal::send(buffer, length);
  }
  std::string_view buffered() const noexcept override { return RWPortal::buffered(); }
  void skip(std::size_t count) noexcept override { RWPortal::skip(count); }

 private:
  // A timeout_ of 0 is not treated as no limit here: callers expect that calls with a timeout then
  // only poll.
  std::uint32_t shorter(std::uint32_t timeout) const { return std::min(timeout, timeout_); }

  std::uint32_t timeout_;
};

}  // namespace

RWPortal makeTimedPortal(const RWPortal& portal, std::uint32_t timeout) {
  return RWPortal(new RWTimedPortalImp(portal, timeout));
}

}  // namespace orla
