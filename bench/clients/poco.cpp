// Poco Net, with one session for all commands.
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/StreamCopier.h>
#include <stdexcept>

#include "clients/Client.h"
#include "clients/files.h"

namespace bench {

namespace {

using Poco::Net::HTTPRequest;
using Poco::Net::HTTPResponse;

class PocoClient : public Client {
 public:
  explicit PocoClient(const Server& server) : session_(server.host, server.port) {
    session_.setKeepAlive(false);
  }

  std::string get(const std::string& target) override {
    HTTPRequest request(HTTPRequest::HTTP_GET, target, HTTPRequest::HTTP_1_1);
    session_.sendRequest(request);
    return text(reply());
  }

  void download(const std::string& target, const std::string& path) override {
    HTTPRequest request(HTTPRequest::HTTP_GET, target, HTTPRequest::HTTP_1_1);
    session_.sendRequest(request);
    std::istream& body = reply();
    OutFile file(path);
    constexpr std::streamsize kPiece = 256 * 1024;
    const auto piece = std::make_unique_for_overwrite<char[]>(kPiece);
    while (body.read(piece.get(), kPiece), body.gcount() > 0)
      file.write(piece.get(), static_cast<std::size_t>(body.gcount()));
  }

  std::string upload(const std::string& target, const std::string& path) override {
    const Bytes bytes = readFile(path);
    HTTPRequest request(HTTPRequest::HTTP_POST, target, HTTPRequest::HTTP_1_1);
    request.setContentLength64(static_cast<Poco::Int64>(bytes.size));
    session_.sendRequest(request).write(bytes.data.get(), static_cast<std::streamsize>(bytes.size));
    return text(reply());
  }

 private:
  std::istream& reply() {
    HTTPResponse response;
    std::istream& body = session_.receiveResponse(response);
    if (response.getStatus() != HTTPResponse::HTTP_OK)
      throw std::runtime_error("status " + std::to_string(response.getStatus()));
    return body;
  }

  static std::string text(std::istream& body) {
    std::string result;
    Poco::StreamCopier::copyToString(body, result);
    return result;
  }

  Poco::Net::HTTPClientSession session_;
};

}  // namespace

std::unique_ptr<Client> makeClient(const Server& server) {
  return std::make_unique<PocoClient>(server);
}

}  // namespace bench
