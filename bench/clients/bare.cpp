// The bare client, to which the other clients are compared. It uses only sockets and system calls.
// It accepts only the replies of the benchmark's servers: status 200, header names as these servers
// write them, and a length or chunks without trailers.
//
// With BENCH_TWO_WRITES it sends the request line and the headers separately, and leaves
// TCP_NODELAY off. The headers may then wait for the acknowledgment of the request line.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "clients/Client.h"
#include "clients/files.h"

#ifdef _WIN32
#include <winsock2.h>
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace bench {

namespace {

#ifdef _WIN32
using Socket = SOCKET;
using Length = int;
constexpr Socket kInvalid = INVALID_SOCKET;
void closeSocket(Socket socket) {
  closesocket(socket);
}
void startSockets() {
  WSADATA data;
  if (WSAStartup(MAKEWORD(1, 1), &data) != 0) throw std::runtime_error("no sockets");
}
#else
using Socket = int;
using Length = std::size_t;
constexpr Socket kInvalid = -1;
void closeSocket(Socket socket) {
  ::close(socket);
}
void startSockets() {}
#endif

constexpr std::size_t kBufferSize = 256 * 1024;

void check(bool done, const char* what) {
  if (!done) throw std::runtime_error(what);
}

/// A connected socket.
class Channel {
 public:
  explicit Channel(const sockaddr_in& address) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    check(socket_ != kInvalid, "socket");
#ifndef BENCH_TWO_WRITES
    const int noDelay = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&noDelay),
                 sizeof noDelay);
#endif
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
      return;
    closeSocket(socket_);
    throw std::runtime_error("connect");
  }
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;
  ~Channel() {
    closeSocket(socket_);
  }

  void send(std::string_view bytes) const {
    while (!bytes.empty()) {
      const auto sent = ::send(socket_, bytes.data(), static_cast<Length>(bytes.size()), 0);
      check(sent > 0, "send");
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
  }

  /// Receives at least one byte.
  std::size_t receive(char* buffer, std::size_t size) const {
    const auto got = ::recv(socket_, buffer, static_cast<Length>(size), 0);
    check(got > 0, "recv");
    return static_cast<std::size_t>(got);
  }

 private:
  Socket socket_;
};

/// Removes the framing of chunks, which may be split between buffers at any place.
class ChunkDecoder {
 public:
  bool isDone() const { return state_ == kDone; }

  /// Moves the body's bytes in `data` to its beginning, and returns their number.
  std::size_t decode(char* data, std::size_t size) {
    std::size_t kept = 0;
    for (std::size_t at = 0; at < size && !isDone();) {
      if (state_ == kData) {
        const std::size_t count = std::min(left_, size - at);
        std::memmove(data + kept, data + at, count);
        kept += count;
        at += count;
        left_ -= count;
        if (left_ == 0) state_ = kDataEnd;
      } else {
        takeFraming(data[at++]);
      }
    }
    return kept;
  }

 private:
  enum State { kSize, kData, kDataEnd, kLastEnd, kDone };

  void takeFraming(char c) {
    if (state_ == kSize && c != '\r' && c != '\n') {
      const std::size_t digit = std::string_view("0123456789abcdef").find(c);
      check(digit < 16, "chunk size");
      left_ = left_ * 16 + digit;
    } else if (c == '\n') {
      if (state_ == kSize) {
        state_ = left_ > 0 ? kData : kLastEnd;
      } else {
        state_ = state_ == kDataEnd ? kSize : kDone;
      }
    }
  }

  State state_ = kSize;
  std::size_t left_ = 0;
};

class BareClient : public Client {
 public:
  explicit BareClient(const Server& server)
      : host_(server.host + ":" + std::to_string(server.port)),
        buffer_(std::make_unique_for_overwrite<char[]>(kBufferSize)) {
    startSockets();
    address_.sin_family = AF_INET;
    address_.sin_port = htons(server.port);
    address_.sin_addr.s_addr = inet_addr(server.host.c_str());
  }

  std::string get(const std::string& target) override {
    const Channel channel(address_);
    sendHead(channel, "GET", target, "");
    return receiveText(channel);
  }

  void download(const std::string& target, const std::string& path) override {
    const Channel channel(address_);
    sendHead(channel, "GET", target, "");
    OutFile file(path);
    receive(channel, [&](const char* data, std::size_t size) { file.write(data, size); });
  }

  std::string upload(const std::string& target, const std::string& path) override {
    const Bytes bytes = readFile(path);
    const Channel channel(address_);
    sendHead(channel, "POST", target, "Content-Length: " + std::to_string(bytes.size) + "\r\n");
    channel.send({bytes.data.get(), bytes.size});
    return receiveText(channel);
  }

 private:
  void sendHead(const Channel& channel, const char* method, const std::string& target,
                const std::string& headers) const {
    const std::string line = std::string(method) + " " + target + " HTTP/1.1\r\n";
    const std::string rest = "Host: " + host_ + "\r\n" + headers + "\r\n";
#ifdef BENCH_TWO_WRITES
    channel.send(line);
    channel.send(rest);
#else
    channel.send(line + rest);
#endif
  }

  std::string receiveText(const Channel& channel) {
    std::string text;
    receive(channel, [&](const char* data, std::size_t size) { text.append(data, size); });
    return text;
  }

  /// Receives a reply and passes its body to `take`, once for each receive.
  template <class Take>
  void receive(const Channel& channel, Take take) {
    char* const buffer = buffer_.get();
    std::size_t have = 0, end = std::string_view::npos;
    while (end == std::string_view::npos) {
      const std::size_t seen = have < 3 ? 0 : have - 3;
      check(have < kBufferSize, "head too large");
      have += channel.receive(buffer + have, kBufferSize - have);
      end = std::string_view(buffer, have).find("\r\n\r\n", seen);
    }
    const std::string_view head(buffer, end + 4);
    check(head.substr(8, 5) == " 200 ", "status");
    constexpr std::string_view kLength = "\r\nContent-Length: ";
    const std::size_t field = head.find(kLength);
    char* const body = buffer + head.size();
    have -= head.size();
    if (field == std::string_view::npos) {
      check(head.find("\r\nTransfer-Encoding: chunked\r\n") != std::string_view::npos, "framing");
      receiveChunks(channel, take, body, have);
      return;
    }
    std::size_t left = 0;
    const char* const digits = buffer + field + kLength.size();
    check(std::from_chars(digits, body, left).ec == std::errc(), "length");
    if (have > 0) take(body, have);
    for (left -= have; left > 0; left -= have) {
      have = channel.receive(buffer, std::min(left, kBufferSize));
      take(buffer, have);
    }
  }

  template <class Take>
  void receiveChunks(const Channel& channel, Take take, char* data, std::size_t have) {
    ChunkDecoder decoder;
    for (;;) {
      if (const std::size_t kept = decoder.decode(data, have)) take(data, kept);
      if (decoder.isDone()) return;
      data = buffer_.get();
      have = channel.receive(data, kBufferSize);
    }
  }

  std::string host_;
  std::unique_ptr<char[]> buffer_;
  sockaddr_in address_{};
};

}  // namespace

std::unique_ptr<Client> makeClient(const Server& server) {
  return std::make_unique<BareClient>(server);
}

}  // namespace bench
