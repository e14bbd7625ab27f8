#include "DevServer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "CommandTarget.h"
#include "Refusal.h"
#include "RequestSource.h"

namespace orla::devserver {
namespace {

constexpr std::size_t kPieceSize = 256 * 1024;
constexpr time_t kStallSeconds = 30;
/// Enough to serve the status page while up to 63 agents wait for a delayed answer.
constexpr std::size_t kThreads = 64;
constexpr char kText[] = "text/plain; charset=utf-8";

/// The state of the request that the current thread serves. It exists from the time when the head
/// has been read until the request is logged.
struct CurrentRequest {
  RequestRecord record;
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

thread_local std::optional<CurrentRequest> current;

/// The answer to an error of the file system.
Refusal storageRefusal(const std::system_error& error) {
  const bool full = error.code().value() == ENOSPC || error.code().value() == EDQUOT;
  return Refusal(full ? 507 : 500, error.what());
}

/// The name under which an upload is stored.
std::string storageName(const Command& command) {
  std::string name = command.fileName.empty() ? compileName(command) : command.fileName;
  if (!isPackageName(name)) throw Refusal(400, "no package can be stored under this name");
  return name;
}

void checkHead(const httplib::Request& request, const std::string& ownHost) {
  if (HttpServer::isHeadCut()) {
    throw Refusal(431, "the head of the request is larger than " +
                           std::to_string(HttpServer::kMaxHeadSize) + " bytes");
  }
  checkSource(request, ownHost);
}

std::string peerText(const httplib::Request& request) {
  if (request.remote_addr.empty()) return "";
  const bool bracketed = request.remote_addr.find(':') != std::string::npos;
  const std::string host = bracketed ? "[" + request.remote_addr + "]" : request.remote_addr;
  return host + ":" + std::to_string(request.remote_port);
}

}  // namespace

DevServer::DevServer(const Options& options)
    : options_(options),
      store_(options.directory),
      log_(options.silent),
      page_(options_, store_, log_) {
  // By default the HTTP library sets SO_REUSEPORT, which lets two servers share a port without an
  // error.
  server_.set_socket_options([this](socket_t socket) {
    const int yes = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    listener_ = socket;
  });
  server_.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
  server_.set_tcp_nodelay(true);
  server_.set_keep_alive_max_count(1);
  // The HTTP library sends "Connection: close" with every answer. The header is removed, because an
  // agent that receives it assumes that the body has no length. A client that sends a "Connection"
  // header itself gets it.
  server_.set_post_routing_handler(
      [this](const httplib::Request& request, httplib::Response& response) {
        if (options_.framing != Framing::kClose && !request.has_header("Connection")) {
          response.headers.erase("Connection");
        }
      });
  server_.set_read_timeout(kStallSeconds);
  server_.set_write_timeout(kStallSeconds);
  server_.set_payload_max_length(options_.maxUpload);
  server_.set_logger([this](const httplib::Request& request, const httplib::Response& response) {
    record(request, response);
  });
  server_.set_pre_routing_handler(
      [this](const httplib::Request& request, httplib::Response& response) {
        return route(request, response);
      });
  server_.Post(R"([\s\S]*)", [this](const httplib::Request& request, httplib::Response& response,
                                    const httplib::ContentReader& body) {
    answer(response, [&] { return post(request, response, body); });
  });
  // Adds the line with the reason to refusals of the HTTP library, which have no content type.
  server_.set_error_handler(
      httplib::Server::Handler([](const httplib::Request&, httplib::Response& response) {
        if (!response.has_header("Content-Type")) {
          response.set_content("refused with HTTP status " + std::to_string(response.status) + "\n",
                               kText);
        }
      }));
}

int DevServer::bind(const std::string& host, int port) {
  host_ = host;
  if (port == 0) {
    port = server_.bind_to_any_port(host);
  } else if (!server_.bind_to_port(host, port)) {
    port = -1;
  }
  // The HTTP library listens with a backlog of 5, which is too small for many concurrent agents.
  if (port >= 0) ::listen(listener_, SOMAXCONN);
  return port;
}

bool DevServer::run() {
  const bool served = server_.listen_after_bind();
  ended_ = true;
  return served;
}

void DevServer::stop() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  stopped_.notify_all();
  // The HTTP library ignores a stop before its accept loop runs.
  while (!server_.is_running() && !ended_)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  server_.stop();
}

/// Answers every request except a POST that is not a form. The body of a POST has not been read
/// yet, so post() answers it later.
httplib::Server::HandlerResponse DevServer::route(const httplib::Request& request,
                                                  httplib::Response& response) {
  current.emplace();
  if (StatusPage::owns(request.target)) {
    try {
      checkHead(request, host_);
      page_.answer(request, response);
    } catch (const Refusal& refusal) {
      current->record.reason = refusal.what();
      response.status = refusal.status();
      response.set_content(refusal.what() + std::string("\n"), kText);
    } catch (const std::system_error& error) {
      response.status = 500;
      response.set_content(error.what() + std::string("\n"), kText);
    }
    return httplib::Server::HandlerResponse::Handled;
  }
  if (request.method == "POST" && !request.is_multipart_form_data()) {
    return httplib::Server::HandlerResponse::Unhandled;
  }
  answer(response, [&] { return get(request); });
  return httplib::Server::HandlerResponse::Handled;
}

DevServer::Answer DevServer::get(const httplib::Request& request) const {
  checkRequest(request);
  if (request.method == "POST") {
    throw Refusal(415, "a package is sent as the plain body, not as a form");
  }
  if (request.method != "GET" && request.method != "HEAD") {
    throw Refusal(405, "only GET, HEAD and POST are served");
  }
  const CommandTarget target = parseTarget(request.target);
  if (!target.command) return package(target.path.substr(1));
  switch (target.command->kind) {
    case Command::Kind::kGetVersion:
      return text(options_.version);
    case Command::Kind::kCompileName:
      return text(storageName(*target.command));
    case Command::Kind::kUploadPackage:
      break;
  }
  throw Refusal(405, "UploadPackage needs the POST method");
}

/// Reads the whole body even if it is refused, because a client reads the answer only after it has
/// sent the request.
DevServer::Answer DevServer::post(const httplib::Request& request,
                                  const httplib::Response& response,
                                  const httplib::ContentReader& body) const {
  std::string name;
  std::optional<PackageStore::Upload> upload;
  std::optional<Refusal> refusal;
  try {
    checkRequest(request);
    const CommandTarget target = parseTarget(request.target);
    if (!target.command || target.command->kind != Command::Kind::kUploadPackage) {
      throw Refusal(405, "POST is for the UploadPackage command");
    }
    name = storageName(*target.command);
    upload.emplace(store_, name);
  } catch (const Refusal& error) {
    refusal = error;
  } catch (const std::system_error& error) {
    refusal = storageRefusal(error);
  }

  // A request without these headers has no body: the package is empty.
  const bool announced =
      request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
  std::uint64_t& received = current->record.received;
  const bool complete = !announced || body([&](const char* data, std::size_t size) {
    received += size;
    if (refusal) return true;
    try {
      // The size of a chunked body is known only at its end.
      if (received > options_.maxUpload) throw Refusal(413, "the package is too large");
      upload->write(data, size);
    } catch (const Refusal& error) {
      refusal = error;
    } catch (const std::system_error& error) {
      refusal = storageRefusal(error);
    }
    return true;
  });
  if (refusal) throw Refusal(*refusal);
  if (response.status == 413) throw Refusal(413, "the package is too large");
  if (!complete) throw Refusal(400, "the body ended early");
  upload->commit();
  return text(name);
}

DevServer::Answer DevServer::package(const std::string& name) const {
  std::optional<PackageStore::Package> found = store_.open(name);
  if (!found) {
    throw Refusal(404, std::string("no such package; ") + StatusPage::kPath + " lists them");
  }
  const auto package = std::make_shared<PackageStore::Package>(std::move(*found));
  return {"application/octet-stream", package->size,
          [package](char* into, std::size_t most, std::uint64_t offset) {
            return ::pread(package->file.get(), into, most, static_cast<off_t>(offset));
          }};
}

DevServer::Answer DevServer::text(std::string content) {
  const std::uint64_t size = content.size();
  return {kText, size,
          [content = std::move(content)](char* into, std::size_t most, std::uint64_t offset) {
            return static_cast<ssize_t>(content.copy(into, most, offset));
          }};
}

void DevServer::checkRequest(const httplib::Request& request) const {
  checkHead(request, host_);
  if (options_.fail != 0) {
    throw Refusal(options_.fail,
                  "--fail answers every command with " + std::to_string(options_.fail));
  }
}

/// Sends the answer that `make` returns, or the refusal that it throws, in the framing of the
/// options.
void DevServer::answer(httplib::Response& response, const std::function<Answer()>& make) {
  Answer answer;
  const auto refuse = [&](const Refusal& refusal) {
    response.status = refusal.status();
    current->record.reason = refusal.what();
    answer = text(current->record.reason + "\n");
  };
  try {
    answer = make();
  } catch (const Refusal& refusal) {
    refuse(refusal);
  } catch (const std::system_error& error) {
    refuse(storageRefusal(error));
  }
  waitDelay();
  // "Not modified" has no body in any framing.
  if (response.status != 304) frame(response, std::move(answer));
}

void DevServer::frame(httplib::Response& response, Answer answer) const {
  const std::uint64_t size = answer.size;
  auto send = [read = std::move(answer.read), buffer = std::string()](
                  std::uint64_t offset, std::uint64_t length, httplib::DataSink& sink) mutable {
    buffer.resize(static_cast<std::size_t>(std::min<std::uint64_t>(length, kPieceSize)));
    const ssize_t count = read(buffer.data(), buffer.size(), offset);
    // If the package has become shorter in the meantime, the HTTP library closes the connection, so
    // that the client detects a truncated body.
    if (count <= 0 || !sink.write(buffer.data(), static_cast<std::size_t>(count))) return false;
    current->record.sent += static_cast<std::uint64_t>(count);
    return true;
  };
  if (options_.framing == Framing::kLength) {
    if (size == 0) return response.set_content("", answer.type);
    return response.set_content_provider(size, answer.type, send);
  }
  // Without a length the whole body is sent, even if the client asks for a range.
  if (response.status == -1) response.status = 200;
  const auto sendAll = [send, size](std::size_t offset, httplib::DataSink& sink) mutable {
    if (offset < size) return send(offset, size - offset, sink);
    sink.done();
    return true;
  };
  if (options_.framing == Framing::kChunked) {
    response.set_chunked_content_provider(answer.type, sendAll);
  } else {
    response.set_content_provider(answer.type, sendAll);
  }
}

/// Blocks for the delay of the options. Returns earlier if the server is stopped.
void DevServer::waitDelay() {
  std::unique_lock lock(mutex_);
  stopped_.wait_for(lock, options_.delay, [this] { return stopping_; });
}

/// Called after the answer was sent, also for a request that the HTTP library itself refused.
void DevServer::record(const httplib::Request& request, const httplib::Response& response) {
  CurrentRequest ended = std::exchange(current, std::nullopt).value_or(CurrentRequest());
  // Requests for the status page are not logged, because the page sends one every second. They are
  // logged if they are refused with 403, because then another site may have caused them.
  if (StatusPage::owns(request.target) && response.status != 403) return;
  RequestRecord& record = ended.record;
  record.duration = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - ended.start);
  record.time = std::chrono::system_clock::now() - record.duration;
  record.peer = peerText(request);
  record.method = request.method;
  record.target = describeTarget(request.target);
  if (record.target.command.empty() && (record.method == "GET" || record.method == "HEAD")) {
    record.target.command = "Download";
  }
  record.status = response.status;
  const bool refused = response.status >= 400 && response.status < 500;
  if (refused && record.reason.empty()) record.reason = "refused by the HTTP parser";
  // The answers of frame() are counted while they are sent. Refusals by the HTTP library have a
  // body here instead.
  if (request.method != "HEAD") record.sent += response.body.size();
  log_.add(std::move(record));
}

}  // namespace orla::devserver
