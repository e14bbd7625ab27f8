// The benchmark's server on 127.0.0.1. It prepares its replies, so that they cost it little time.
//
//   bench-server [--far MILLISECONDS] [--late-acknowledgments]
//
// It prints its port, and runs until it is ended. With --far it waits for that time before each
// reply, to simulate a distant server. With --late-acknowledgments it acknowledges received bytes
// as late as the system allows (40 ms and more), unless the reply carries the acknowledgment.
//
//   GET  /get[/HEADERS]        a small text, with this many additional headers
//   GET  /plain/SIZE           SIZE bytes of the pattern, with a length
//   GET  /chunked/CHUNK/SIZE   the same in chunks of CHUNK bytes; 64 KiB and SIZE must be multiples
//                              of CHUNK
//   POST /upload               the number of bytes received, as a text
//
// Queries are ignored. The server leaves it to the client to close a connection, even if the
// request has the header "Connection: close". It then resets the connection, because otherwise the
// port of the connection would stay in use for a minute and slow down later connections.
#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "pattern.h"

namespace {

constexpr int kThreads = 16;  // The maximum number of connections at a time.
constexpr std::size_t kBufferSize = 1024 * 1024;
constexpr std::size_t kBlockSize = 16 * bench::kPatternSize;
constexpr char kSmallReply[] = "5.10.1234";

struct Options {
  std::chrono::milliseconds delay{0};
  bool lateAcknowledgments = false;
};

/// A block of the pattern in chunks of one size, and the size of a chunk with its framing.
struct ChunkedBlock {
  explicit ChunkedBlock(std::size_t chunk) {
    if (chunk == 0 || bench::kPatternSize % chunk != 0) throw std::runtime_error("bad chunk size");
    const std::string pattern = bench::makePattern(kBlockSize);
    char line[24];
    std::snprintf(line, sizeof line, "%zx\r\n", chunk);
    for (std::size_t at = 0; at < kBlockSize; at += chunk)
      bytes.append(line).append(pattern, at, chunk).append("\r\n");
    framedSize = bytes.size() / (kBlockSize / chunk);
  }
  std::string bytes;
  std::size_t framedSize;
};

/// The block that is sent, created once for all connections.
const std::string& pattern() {
  static const std::string bytes = bench::makePattern(kBlockSize);
  return bytes;
}

const ChunkedBlock& chunkedBlock(std::size_t chunk) {
  static std::mutex mutex;
  static std::map<std::size_t, ChunkedBlock> blocks;
  const std::lock_guard lock(mutex);
  return blocks.try_emplace(chunk, chunk).first->second;
}

/// The parts of a request head that the server uses.
struct Request {
  explicit Request(std::string_view head) {
    const std::size_t start = head.find(' ') + 1;
    target = std::string(head.substr(start, head.find_first_of(" ?", start) - start));
    constexpr std::string_view kLength = "Content-Length: ";
    if (const std::size_t field = head.find(kLength); field != std::string_view::npos)
      length = std::strtoull(head.data() + field + kLength.size(), nullptr, 10);
  }

  /// Returns the numbers after the target's first part. There are at least two; missing ones are 0.
  std::vector<std::size_t> numbers() const {
    std::vector<std::size_t> found;
    for (std::size_t at = target.find('/', 1); at != std::string::npos;
         at = target.find('/', at + 1))
      found.push_back(std::strtoull(target.c_str() + at + 1, nullptr, 10));
    found.resize(std::max<std::size_t>(found.size(), 2));
    return found;
  }

  std::string target;
  std::size_t length = 0;
};

/// Serves one connection at a time.
class Conversation {
 public:
  explicit Conversation(const Options& options)
      : options_(options), buffer_(std::make_unique_for_overwrite<char[]>(kBufferSize)) {}

  /// Serves requests until the client closes the connection, which throws an exception.
  void serve(int socket) {
    socket_ = socket;
    have_ = 0;
    for (;;) answer(receiveHead());
  }

 private:
  struct Ended : std::exception {};

  std::size_t receive(char* into, std::size_t size) {
    if (options_.lateAcknowledgments) {
      const int quick = 0;
      ::setsockopt(socket_, IPPROTO_TCP, TCP_QUICKACK, &quick, sizeof quick);
    }
    const ssize_t got = ::recv(socket_, into, size, 0);
    if (got <= 0) throw Ended();
    return static_cast<std::size_t>(got);
  }

  void send(std::string_view bytes, int flags = 0) {
    while (!bytes.empty()) {
      const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), flags | MSG_NOSIGNAL);
      if (sent <= 0) throw Ended();
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
  }

  /// Removes a head from the buffer, and leaves the bytes after it there.
  Request receiveHead() {
    std::size_t end;
    while ((end = std::string_view(buffer_.get(), have_).find("\r\n\r\n")) ==
           std::string_view::npos)
      have_ += receive(buffer_.get() + have_, kBufferSize - have_);
    end += 4;
    Request request(std::string_view(buffer_.get(), end));
    have_ -= end;
    std::memmove(buffer_.get(), buffer_.get() + end, have_);
    return request;
  }

  void receiveBody(std::size_t length) {
    const std::size_t here = std::min(have_, length);
    have_ -= here;
    for (std::size_t left = length - here; left > 0;)
      left -= receive(buffer_.get(), std::min(left, kBufferSize));
  }

  void answer(const Request& request) {
    receiveBody(request.length);
    if (options_.delay.count() > 0) std::this_thread::sleep_for(options_.delay);
    const std::vector<std::size_t> numbers = request.numbers();
    if (request.target.starts_with("/plain/")) {
      sendPlain(numbers[0]);
    } else if (request.target.starts_with("/chunked/")) {
      sendChunked(numbers[0], numbers[1]);
    } else if (request.target == "/upload") {
      sendText(std::to_string(request.length), 0);
    } else {
      sendText(kSmallReply, numbers[0]);
    }
  }

  void sendText(const std::string& text, std::size_t headers) {
    std::string reply = kHead;
    for (std::size_t i = 0; i < headers; ++i)
      reply += "X-Bench-" + std::to_string(i) + ": a value\r\n";
    send(reply + "Content-Length: " + std::to_string(text.size()) + "\r\n\r\n" + text);
  }

  void sendPlain(std::size_t size) {
    send(kHead + ("Content-Length: " + std::to_string(size) + "\r\n\r\n"), MSG_MORE);
    for (; size >= kBlockSize; size -= kBlockSize) send(pattern());
    send(std::string_view(pattern()).substr(0, size));
  }

  void sendChunked(std::size_t chunk, std::size_t size) {
    const ChunkedBlock& block = chunkedBlock(chunk);
    send(kHead + std::string("Transfer-Encoding: chunked\r\n\r\n"), MSG_MORE);
    for (; size >= kBlockSize; size -= kBlockSize) send(block.bytes);
    send(std::string_view(block.bytes).substr(0, size / chunk * block.framedSize), MSG_MORE);
    send("0\r\n\r\n");
  }

  static constexpr char kHead[] =
      "HTTP/1.1 200 OK\r\nServer: bench\r\nContent-Type: application/octet-stream\r\n";

  const Options options_;
  std::unique_ptr<char[]> buffer_;
  std::size_t have_ = 0;
  int socket_ = -1;
};

void serveForever(int listener, const Options& options) {
  Conversation conversation(options);
  for (;;) {
    const int socket = ::accept(listener, nullptr, nullptr);
    if (socket < 0) continue;
    try {
      conversation.serve(socket);
    } catch (const std::exception&) {
      // The client closed the connection, or its request was invalid and gets no reply.
    }
    ::close(socket);
  }
}

void check(int result, const char* what) {
  if (result == 0) return;
  std::perror(what);
  std::exit(EXIT_FAILURE);
}

Options parseArguments(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--late-acknowledgments") {
      options.lateAcknowledgments = true;
    } else if (argument == "--far" && i + 1 < argc) {
      options.delay = std::chrono::milliseconds(std::atoi(argv[++i]));
    } else {
      std::fprintf(stderr, "unknown argument: %s\n", argv[i]);
      std::exit(EXIT_FAILURE);
    }
  }
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = parseArguments(argc, argv);
  const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
  // The accepted connections inherit these options.
  const int noDelay = 1, quick = 0;
  const linger reset{1, 0};
  check(::setsockopt(listener, SOL_SOCKET, SO_LINGER, &reset, sizeof reset), "SO_LINGER");
  check(::setsockopt(listener, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay), "TCP_NODELAY");
  if (options.lateAcknowledgments)
    check(::setsockopt(listener, IPPROTO_TCP, TCP_QUICKACK, &quick, sizeof quick), "TCP_QUICKACK");

  sockaddr_in address{};
  socklen_t length = sizeof address;
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  check(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), "bind");
  check(::listen(listener, SOMAXCONN), "listen");
  check(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), "getsockname");
  std::printf("%d\n", ntohs(address.sin_port));
  std::fflush(stdout);

  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(serveForever, listener, options);
  for (std::thread& thread : threads) thread.join();
}
