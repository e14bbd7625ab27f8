// libcurl. By default it uses one easy handle for all commands, with default settings. With
// BENCH_NEW_HANDLE it uses a new handle with large buffers for each command.
#include <curl/curl.h>
#include <stdexcept>

#include "clients/Client.h"
#include "clients/files.h"

namespace bench {

namespace {

void check(CURLcode code) {
  if (code != CURLE_OK) throw std::runtime_error(curl_easy_strerror(code));
}

std::size_t appendText(char* data, std::size_t, std::size_t size, void* text) {
  static_cast<std::string*>(text)->append(data, size);
  return size;
}

std::size_t writeFile(char* data, std::size_t, std::size_t size, void* file) {
  static_cast<OutFile*>(file)->write(data, size);
  return size;
}

class CurlClient : public Client {
 public:
  explicit CurlClient(const Server& server) : server_(server) {}
  ~CurlClient() override { curl_easy_cleanup(handle_); }

  std::string get(const std::string& target) override {
    std::string body;
    perform(prepare(target, appendText, &body));
    return body;
  }

  void download(const std::string& target, const std::string& path) override {
    OutFile file(path);
    perform(prepare(target, writeFile, &file));
  }

  std::string upload(const std::string& target, const std::string& path) override {
    const Bytes bytes = readFile(path);
    std::string body;
    CURL* const handle = prepare(target, appendText, &body);
    // The header "Expect" is removed, because libcurl would wait for the server before it sends the
    // body.
    curl_slist* const headers = curl_slist_append(nullptr, "Expect:");
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(bytes.size));
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, bytes.data.get());
    const CURLcode code = curl_easy_perform(handle);
    curl_slist_free_all(headers);
    check(code);
    return body;
  }

 private:
  CURL* prepare(const std::string& target, curl_write_callback write, void* context) {
#ifdef BENCH_NEW_HANDLE
    curl_easy_cleanup(handle_);
    handle_ = nullptr;
#endif
    if (!handle_) handle_ = curl_easy_init();
    if (!handle_) throw std::runtime_error("no handle");
    curl_easy_reset(handle_);
#ifdef BENCH_NEW_HANDLE
    constexpr long kBuffer = 256 * 1024;
    curl_easy_setopt(handle_, CURLOPT_BUFFERSIZE, kBuffer);
    curl_easy_setopt(handle_, CURLOPT_UPLOAD_BUFFERSIZE, kBuffer);
#endif
    curl_easy_setopt(handle_, CURLOPT_URL, server_.url(target).c_str());
    curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle_, CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(handle_, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, write);
    curl_easy_setopt(handle_, CURLOPT_WRITEDATA, context);
    return handle_;
  }

  static void perform(CURL* handle) {
    check(curl_easy_perform(handle));
  }

  Server server_;
  CURL* handle_ = nullptr;
};

}  // namespace

std::unique_ptr<Client> makeClient(const Server& server) {
  static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
  check(ready);
  return std::make_unique<CurlClient>(server);
}

}  // namespace bench
