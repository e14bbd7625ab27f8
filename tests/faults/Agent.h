// An agent whose operations the fault tests run. What it keeps of their results allocates nothing, so
// that only the library's own allocations fail.
#pragma once

#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <ostream>
#include <random>
#include <string>

#include "client/CVekExceptionImp.h"
#include "client/Library.h"
#include "support/CommandServer.h"
#include "support/TempDir.h"

namespace orla::test {

/// How an operation ends: the status that it returns or the code that it throws, and the library's
/// message.
struct Outcome {
  std::uint32_t status;
  std::string message;
  bool thrown = false;

  bool operator==(const Outcome&) const = default;
};

inline void PrintTo(const Outcome& outcome, std::ostream* out) {
  *out << (outcome.thrown ? "code " : "status ") << outcome.status << " \"" << outcome.message
       << "\"";
}

inline void ORLA_CALL ignoreProgress(orla_progress_record*, const void*, std::uint32_t) {}

/// A library with one connection, a package to send and an old file to replace. No two agents share
/// the name of a package, of a file or of a kernel object.
class Agent {
 public:
  using Operation = void (Agent::*)();

  explicit Agent(CommandServer& server) : url_(server.url("1.2.3")) {}

  // The operations. Each stores its status and its results; if it throws, it does not.
  void load() { library_.emplace(guard_.c_str()); }
  void unload() { library_.reset(); }
  void initialize() { status_ = inet().Initialize(0, nullptr); }
  void connect() { status_ = inet().Connect(url_.c_str(), "", 0, &handle_); }
  void disconnect() { status_ = inet().Disconnect(handle_); }
  void cleanUp() { status_ = inet().Cleanup(); }
  void version() {
    major_ = minor_ = 9;
    status_ = inet().GetVersion(handle_, &major_, &minor_);
  }
  void name() {
    size_ = sizeof text_;
    status_ = inet().GetPackageName(handle_, 1, 1, &kId, text_, &size_);
  }
  void send() {
    size_ = sizeof text_;
    std::strcpy(text_, key_.c_str());
    status_ = inet().SendPackage(handle_, 1, 1, &kId, package_.c_str(), text_, &size_);
  }
  void download() {
    const char* const target = target_.c_str();
    status_ = inet().DownloadFile(handle_, target, old_.c_str(), ignoreProgress, &record_, "1");
  }
  /// Loads the library unless it is loaded, connects and asks the version.
  void use() {
    if (!library_) load();
    forgetErrors();
    initialize();
    connect();
    if (status_ == 0) version();
  }

  void run(Operation operation) {
    status_ = 0;
    thrown_ = false;
    try {
      (this->*operation)();
    } catch (const CVekExceptionImp& error) {
      status_ = error.GetErrorCode();
      thrown_ = true;
    }
  }
  /// How the last run ended. The library is loaded.
  Outcome outcome() {
    char text[ORLA_MESSAGE_SIZE];
    inet().LastErrorMessage(text, sizeof text);
    return {status_, text, thrown_};
  }

  /// Checks what the operation, if it is one with results, returned in the last run.
  void expectResultsOf(Operation operation) const {
    const bool done = status_ == 0 && !thrown_;
    const std::string query = "Package&Type=1&Identity0=id&Encoding=UTF-8";
    if (operation == &Agent::version) {
      EXPECT_EQ(major_, done ? 1 : 0);
      EXPECT_EQ(minor_, done ? 2 : 0);
    } else if (operation == &Agent::name) {
      EXPECT_STREQ(text_, done ? "ORLACommand=CompileName&Type=1&Identity0=id&Encoding=UTF-8" : "");
    } else if (operation == &Agent::send) {
      EXPECT_EQ(size_, done ? kPackage.size() : 0xFFFFFFFF);
      EXPECT_EQ(text_, (done ? "ORLACommand=Upload" + query + "&FileName=" : "") + key_);
    } else if (operation == &Agent::download && done) {
      const std::uint32_t count = record_.byte_count;  // The record's own may not be aligned.
      EXPECT_EQ(count, kPackage.size());
    }
  }

  /// Sets the thread's code and the message to values that show whether they are written to.
  void forgetErrors() {
    inet().SetCode(kUntouched);
    inet().SetMessage("");
  }
  bool hasUntouchedCode() {
    std::uint32_t code = 0;
    inet().LastError(&code);
    return code == kUntouched;
  }
  const TempDir& folder() const { return folder_; }
  void writePackage(const std::string& bytes) { folder_.write("package", bytes); }

  inline static const std::string kPackage = std::string(200000, 'p');

 private:
  static constexpr std::uint32_t kUntouched = 77;

  CVekInet& inet() { return library_->inet(); }

  const std::string url_;
  const TempDir folder_;
  const std::string package_ = folder_.write("package", kPackage);
  const std::string old_ = folder_.write("old", "old");
  inline static int agents_ = 1000;
  const std::string key_ = std::to_string(++agents_);
  const std::string target_ = "/" + key_;
  const std::string guard_ = "orla-test-" + std::to_string(std::random_device()());
  const char* const kId = "id";
  std::optional<Library> library_;
  std::uint32_t handle_ = 0;
  // Of the last run.
  std::uint32_t status_ = 0;
  bool thrown_ = false;
  std::uint16_t major_ = 0, minor_ = 0;
  std::uint32_t size_ = 0;
  char text_[200] = "";
  orla_progress_record record_{};
};

}  // namespace orla::test
