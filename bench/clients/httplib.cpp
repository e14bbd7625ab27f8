// cpp-httplib, with one client for all commands.
#include <httplib.h>
#include <stdexcept>

#include "clients/Client.h"
#include "clients/files.h"

namespace bench {

namespace {

httplib::Response checked(httplib::Result result) {
  if (!result) throw std::runtime_error(httplib::to_string(result.error()));
  if (result->status != 200) throw std::runtime_error("status " + std::to_string(result->status));
  return std::move(*result);
}

class HttplibClient : public Client {
 public:
  explicit HttplibClient(const Server& server) : client_(server.host, server.port) {
    client_.set_keep_alive(false);
    client_.set_tcp_nodelay(true);
  }

  std::string get(const std::string& target) override { return checked(client_.Get(target)).body; }

  void download(const std::string& target, const std::string& path) override {
    OutFile file(path);
    checked(client_.Get(target, [&](const char* data, std::size_t size) {
      file.write(data, size);
      return true;
    }));
  }

  std::string upload(const std::string& target, const std::string& path) override {
    const Bytes bytes = readFile(path);
    // A provider is used, because the client copies a body that it receives as a string.
    const auto provide = [&](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
      return sink.write(bytes.data.get() + offset, length);
    };
    return checked(client_.Post(target, bytes.size, provide, "application/octet-stream")).body;
  }

 private:
  httplib::Client client_;
};

}  // namespace

std::unique_ptr<Client> makeClient(const Server& server) {
  return std::make_unique<HttplibClient>(server);
}

}  // namespace bench
