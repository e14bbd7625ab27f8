#include "DevServer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "CommandTarget.h"
#include "Refusal.h"

namespace orla {
namespace {

constexpr std::size_t kPieceSize = 256 * 1024;
constexpr time_t kStallSeconds = 30;
constexpr char kText[] = "text/plain; charset=utf-8";

void answer_refusal(httplib::Response& response, const Refusal& refusal) {
  response.status = refusal.status();
  response.set_content(refusal.what() + std::string("\n"), kText);
}

/* What the file system reports: a full disk and the like. */
Refusal storage_refusal(const std::system_error& error) {
  const bool full = error.code().value() == ENOSPC || error.code().value() == EDQUOT;
  return Refusal(full ? 507 : 500, error.what());
}

/* The name under which an upload is stored. */
std::string storage_name(const Command& command) {
  std::string name = command.file_name.empty() ? compile_name(command) : command.file_name;
  if (!is_package_name(name)) throw Refusal(400, "no package can be stored under this name");
  return name;
}

/* A line a request. The target comes from the network: its odd bytes stay out of the terminal. */
void log_request(const httplib::Request& request, const httplib::Response& response) {
  std::string target = request.target;
  std::replace_if(
      target.begin(), target.end(), [](char c) { return c < 0x20 || c == 0x7F; }, '?');
  std::fprintf(stderr, "%s %s %d\n", request.method.c_str(), target.c_str(), response.status);
}

}  // namespace

DevServer::DevServer(const Options& options)
    : store_(options.folder), version_(options.version), max_upload_(options.max_upload) {
  // The library's default would let two servers share a port without a word.
  server_.set_socket_options([](socket_t socket) {
    const int yes = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  server_.set_tcp_nodelay(true);
  server_.set_keep_alive_max_count(1);
  server_.set_read_timeout(kStallSeconds);
  server_.set_write_timeout(kStallSeconds);
  server_.set_payload_max_length(max_upload_);
  server_.set_logger(log_request);
  server_.set_pre_routing_handler(
      [this](const httplib::Request& request, httplib::Response& response) {
        return route(request, response);
      });
  server_.Post(R"([\s\S]*)",
               [this](const httplib::Request& request, httplib::Response& response,
                      const httplib::ContentReader& body) { post(request, response, body); });
  // Refusals of the HTTP library itself get their line of reason here.
  server_.set_error_handler(
      httplib::Server::Handler([](const httplib::Request&, httplib::Response& response) {
        if (response.body.empty()) {
          response.set_content("refused with HTTP status " + std::to_string(response.status) + "\n",
                               kText);
        }
      }));
}

int DevServer::bind(const std::string& host, int port) {
  if (port == 0) return server_.bind_to_any_port(host);
  return server_.bind_to_port(host, port) ? port : -1;
}

bool DevServer::run() {
  const bool served = server_.listen_after_bind();
  ended_ = true;
  return served;
}

void DevServer::stop() {
  // A stop that comes before the accept loop runs would be lost.
  while (!server_.is_running() && !ended_)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  server_.stop();
}

/* Answers every request but an upload, whose body is still to be read. */
httplib::Server::HandlerResponse DevServer::route(const httplib::Request& request,
                                                  httplib::Response& response) const {
  try {
    if (request.method == "POST") {
      if (request.is_multipart_form_data()) {
        throw Refusal(415, "a package is sent as the plain body, not as a form");
      }
      return httplib::Server::HandlerResponse::Unhandled;
    }
    if (request.method != "GET" && request.method != "HEAD") {
      throw Refusal(405, "only GET, HEAD and POST are served");
    }
    get(request, response);
  } catch (const Refusal& refusal) {
    answer_refusal(response, refusal);
  }
  return httplib::Server::HandlerResponse::Handled;
}

void DevServer::get(const httplib::Request& request, httplib::Response& response) const {
  const CommandTarget target = parse_target(request.target);
  if (!target.command) return send_package(target.path.substr(1), response);
  switch (target.command->word) {
    case Command::Word::kGetVersion:
      return response.set_content(version_, kText);
    case Command::Word::kCompileName:
      return response.set_content(storage_name(*target.command), kText);
    case Command::Word::kUploadPackage:
      throw Refusal(405, "UploadPackage needs the POST method");
  }
}

/* Reads the body to its end also when it is refused: a client listens only after it has sent. */
void DevServer::post(const httplib::Request& request, httplib::Response& response,
                     const httplib::ContentReader& body) const {
  std::string name;
  std::optional<PackageStore::Upload> upload;
  std::optional<Refusal> refusal;
  try {
    const CommandTarget target = parse_target(request.target);
    if (!target.command || target.command->word != Command::Word::kUploadPackage) {
      throw Refusal(405, "POST is for the UploadPackage command");
    }
    name = storage_name(*target.command);
    upload.emplace(store_, name);
  } catch (const Refusal& error) {
    refusal = error;
  } catch (const std::system_error& error) {
    refusal = storage_refusal(error);
  }

  // A request that announces no body has none: an empty package comes so.
  const bool announced =
      request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
  std::uint64_t received = 0;
  const bool whole = !announced || body([&](const char* data, std::size_t size) {
    received += size;
    if (refusal) return true;
    try {
      // A chunked body tells its size only at its end.
      if (received > max_upload_) throw Refusal(413, "the package is too large");
      upload->write(data, size);
    } catch (const Refusal& error) {
      refusal = error;
    } catch (const std::system_error& error) {
      refusal = storage_refusal(error);
    }
    return true;
  });
  try {
    if (response.status == 413) throw Refusal(413, "the package is too large");
    if (refusal) throw Refusal(*refusal);
    if (!whole) throw Refusal(400, "the body ended early");
    upload->commit();
    response.set_content(name, kText);
  } catch (const Refusal& error) {
    answer_refusal(response, error);
  } catch (const std::system_error& error) {
    answer_refusal(response, storage_refusal(error));
  }
}

void DevServer::send_package(const std::string& name, httplib::Response& response) const {
  std::optional<PackageStore::Package> found = store_.open(name);
  if (!found) throw Refusal(404, "no such package");
  const auto package = std::make_shared<PackageStore::Package>(std::move(*found));
  if (package->size == 0) return response.set_content("", "application/octet-stream");
  response.set_content_provider(
      package->size, "application/octet-stream",
      [package, buffer = std::string(kPieceSize, '\0')](std::size_t offset, std::size_t length,
                                                        httplib::DataSink& sink) mutable {
        const ssize_t count = ::pread(package->file.get(), buffer.data(),
                                      std::min(length, buffer.size()), static_cast<off_t>(offset));
        // A package that shrank under way cuts the connection: the client sees a truncated body.
        return count > 0 && sink.write(buffer.data(), static_cast<std::size_t>(count));
      });
}

}  // namespace orla
