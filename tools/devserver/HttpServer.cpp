#include "HttpServer.h"

#include <poll.h>
#include <string>
#include <string_view>
#include <sys/socket.h>

namespace orla::devserver {
namespace {

/// The maximum number of bytes of a head that are read and dropped after kMaxHeadSize. They are
/// read, because a client reads the refusal only after it has sent its whole head. If the head is
/// not complete after that, the connection is closed.
constexpr std::size_t kMaxDropped = 16 * 1024 * 1024;

thread_local bool headCut = false;

/// A connection that limits the size of the head that the HTTP library reads from it. The library
/// reads lines byte by byte, and bodies in larger pieces.
class LimitedStream : public httplib::Stream {
 public:
  explicit LimitedStream(httplib::Stream& stream) : stream_(stream) {}

  bool is_readable() const override { return stream_.is_readable(); }
  bool is_writable() const override { return stream_.is_writable(); }
  ssize_t write(const char* data, std::size_t size) override { return stream_.write(data, size); }
  void get_remote_ip_and_port(std::string& ip, int& port) const override {
    stream_.get_remote_ip_and_port(ip, port);
  }
  void get_local_ip_and_port(std::string& ip, int& port) const override {
    stream_.get_local_ip_and_port(ip, port);
  }
  socket_t socket() const override { return stream_.socket(); }

  ssize_t read(char* into, std::size_t size) override {
    if (size != 1) return stream_.read(into, size);
    if (!headEnd_.empty()) {
      *into = headEnd_.front();
      headEnd_.remove_prefix(1);
      return 1;
    }
    if (used_ == HttpServer::kMaxHeadSize) return cutHead(into);
    return readByte(into);
  }

 private:
  ssize_t readByte(char* into) {
    const ssize_t count = stream_.read(into, 1);
    if (count != 1) return count;
    ++used_;
    ++lineSize_;
    if (*into == '\n') {
      inHead_ = inHead_ && !(lineSize_ == 2 && afterReturn_);
      // After the head the limit applies to each line separately.
      if (!inHead_) used_ = 0;
      lineSize_ = 0;
    }
    afterReturn_ = *into == '\r';
    return 1;
  }

  /// Drops the rest of the head and passes an end of the head to the HTTP library, which then
  /// serves the request as usual. Fails if the limit applies to a later line.
  ssize_t cutHead(char* into) {
    if (!inHead_) return -1;
    for (std::size_t dropped = 0; inHead_; ++dropped) {
      if (dropped == kMaxDropped || readByte(into) != 1) return -1;
    }
    headCut = true;
    headEnd_ = "\n\r\n";
    *into = '\r';
    return 1;
  }

  httplib::Stream& stream_;
  std::size_t used_ = 0;      // bytes of the head, or of a later line
  std::size_t lineSize_ = 0;  // bytes of the line
  bool afterReturn_ = false;  // the previous byte was a carriage return
  bool inHead_ = true;
  std::string_view headEnd_;  // the part of a cut head's end that was not read yet
};

}  // namespace

bool HttpServer::isHeadCut() {
  return headCut;
}

bool HttpServer::process_and_close_socket(socket_t socket) {
  headCut = false;
  bool served = false;
  pollfd first{socket, POLLIN, 0};
  // A connection that sends nothing is closed earlier than one that stalls later, so that it does
  // not occupy the thread for long.
  if (svr_sock_ != INVALID_SOCKET &&
      ::poll(&first, 1, static_cast<int>(keep_alive_timeout_sec_) * 1000) == 1) {
    served = httplib::detail::process_client_socket(
        socket, read_timeout_sec_, read_timeout_usec_, write_timeout_sec_, write_timeout_usec_,
        [this](httplib::Stream& stream) {
          LimitedStream limited(stream);
          bool closed = false;
          return process_request(limited, true, closed, nullptr);
        });
  }
  ::shutdown(socket, SHUT_RDWR);
  httplib::detail::close_socket(socket);
  return served;
}

}  // namespace orla::devserver
