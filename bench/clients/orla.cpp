// The library through its exports.
//
// The environment variable BENCH_CONNECTIONS is the number of connections in the library's table.
// The commands use the oldest of them.
//
// get() and upload() ignore their target, because the library itself creates it from the URL and
// the arguments.
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "clients/Client.h"
#include "orla/ORLACl.h"

namespace bench {

namespace {

void check(orla_status status, const char* function) {
  if (status == ORLA_OK) return;
  char message[ORLA_MESSAGE_SIZE];
  ORLAGetLastErrorMsg(message, sizeof message);
  throw std::runtime_error(std::string(function) + ": status " + std::to_string(status) + ": " +
                           message);
}

void ORLA_CALL ignoreProgress(orla_progress_record*, const void*, uint32_t) {}

std::uint32_t connectTo(const Server& server) {
  std::uint32_t handle = 0;
  check(ORLAConnect(server.url(server.path).c_str(), "", 0, &handle), "ORLAConnect");
  return handle;
}

class OrlaClient : public Client {
 public:
  explicit OrlaClient(const Server& server) {
    check(ORLAInitialize(0, nullptr), "ORLAInitialize");
    handle_ = connectTo(server);
    const char* const wanted = std::getenv("BENCH_CONNECTIONS");
    for (int more = wanted ? std::atoi(wanted) - 1 : 0; more > 0; --more) connectTo(server);
  }

  std::string get(const std::string&) override {
    const char* const identities[] = {kIdentity};
    char name[260];
    std::uint32_t size = sizeof name;
    check(ORLAGetPackageName(handle_, kType, 1, identities, name, &size), "ORLAGetPackageName");
    return {name, size};
  }

  void download(const std::string& target, const std::string& path) override {
    orla_progress_record record{};
    check(ORLADownloadFile(handle_, target.c_str(), path.c_str(), ignoreProgress, &record, nullptr),
          "ORLADownloadFile");
  }

  std::string upload(const std::string&, const std::string& path) override {
    char name[260] = "";
    std::uint32_t size = sizeof name;
    check(ORLASendPackage(handle_, kType, 0, nullptr, path.c_str(), name, &size),
          "ORLASendPackage");
    return name;
  }

 private:
  std::uint32_t handle_ = 0;
};

}  // namespace

std::unique_ptr<Client> makeClient(const Server& server) {
  return std::make_unique<OrlaClient>(server);
}

}  // namespace bench
