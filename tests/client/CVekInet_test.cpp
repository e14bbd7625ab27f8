#include "client/CVekInet.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "client/CVekExceptionImp.h"
#include "net/RWWinsockStartup.h"
#include "support/ScriptedServer.h"
#include "support/TempDir.h"

namespace orla {
namespace {

using test::ScriptedServer;
using test::TempDir;
using testing::ElementsAre;

/// The guard's kernel objects are shared by all processes, so each test names its own.
std::string ownGuardName() {
  return "orla-test-" + std::to_string(GetCurrentThreadId()) + "-" +
         testing::UnitTest::GetInstance()->current_test_info()->name();
}

class CVekInetTest : public testing::Test {
 public:
  ~CVekInetTest() noexcept override = default;

 protected:
  std::uint32_t connect(const std::string& url) {
    std::uint32_t handle = 0;
    EXPECT_EQ(inet_.Connect(url.c_str(), "credential", 0, &handle), 0U) << url;
    return handle;
  }
  std::string message() {
    char text[ORLA_MESSAGE_SIZE];
    inet_.LastErrorMessage(text, sizeof text);
    return text;
  }
  std::uint32_t code() {
    std::uint32_t value = 0;
    inet_.LastError(&value);
    return value;
  }
  void initialise() { EXPECT_EQ(inet_.Initialize(0, nullptr), 0U); }

  RWWinsockStartup winsock_;
  CVekInet inet_{ownGuardName().c_str()};
};

TEST_F(CVekInetTest, InitialisesOnce) {
  EXPECT_EQ(inet_.Initialize(1, ""), 6U);
  EXPECT_EQ(inet_.Initialize(0x10001, nullptr), 6U);
  std::uint32_t handle = 0;
  EXPECT_EQ(inet_.Connect("http://s", "", 0, &handle), 1U);
  EXPECT_EQ(handle, 0U);
  handle = 7;
  EXPECT_EQ(inet_.Connect("http://s", "", 0, &handle), 0U);
  EXPECT_EQ(handle, 7U);
  EXPECT_EQ(inet_.Connect("http://s", "", 0, nullptr), 1U);

  EXPECT_EQ(inet_.Initialize(0x10000, nullptr), 0U);
  EXPECT_EQ(inet_.Initialize(1, nullptr), 0U) << "the arguments count the first time only";
  EXPECT_EQ(inet_.Connect("http://s", "", 0, nullptr), 1U);
  handle = connect("http://s");
  EXPECT_EQ(inet_.Cleanup(), 0U);
  EXPECT_EQ(inet_.Cleanup(), 0U);
  EXPECT_EQ(inet_.Disconnect(handle), 6U);
  EXPECT_EQ(inet_.Connect("http://s", "", 0, &(handle = 0)), 1U);
  EXPECT_EQ(inet_.Initialize(1, "again"), 0U);
}

TEST_F(CVekInetTest, HandsOutHandlesAndReusesThem) {
  initialise();
  std::vector<std::uint32_t> handles;
  for (int i = 0; i < 30; ++i) handles.push_back(connect("http://srv/" + std::to_string(i)));
  EXPECT_EQ(std::set(handles.begin(), handles.end()).size(), 30U);
  EXPECT_EQ(std::set(handles.begin(), handles.end()).count(0), 0U);

  std::uint32_t handle = 99;
  EXPECT_EQ(inet_.Connect("http://s", "", 0, &handle), 1U);
  EXPECT_EQ(handle, 0U);
  EXPECT_EQ(message(), "");

  EXPECT_EQ(inet_.Disconnect(handles[17]), 0U);
  EXPECT_EQ(inet_.Disconnect(handles[17]), 0U);
  EXPECT_EQ(inet_.Disconnect(0), 6U);
  char target[100];
  EXPECT_TRUE(inet_.BuildCommand(handles[17], 0, 0, nullptr, false, target, sizeof target));
  EXPECT_STREQ(target, "/17?ORLACommand=GetVersion") << "a free connection keeps its URL";

  EXPECT_EQ(inet_.Connect("bad", "", 0, &(handle = 99)), 1U);
  EXPECT_EQ(handle, 0U);
  EXPECT_EQ(message(), "") << "a free connection that refuses a URL sets no message";
  EXPECT_EQ(connect("http://srv/new"), handles[17]);
  EXPECT_TRUE(inet_.BuildCommand(handles[17], 0, 0, nullptr, false, target, sizeof target));
  EXPECT_STREQ(target, "/new?ORLACommand=GetVersion");
}

TEST_F(CVekInetTest, SaysWhichUrlIsInvalid) {
  initialise();
  std::uint32_t handle = 99;
  EXPECT_EQ(inet_.Connect("http:srv", "", 0, &handle), 1U);
  EXPECT_EQ(handle, 0U);
  EXPECT_EQ(message(), "URL 'http:srv' is invalid.");
  char cut[8] = "???????";
  EXPECT_EQ(inet_.LastErrorMessage(cut, 5), 0U);
  EXPECT_STREQ(cut, "URL '??");
  EXPECT_EQ(inet_.LastErrorMessage(nullptr, 5), 0U);
}

TEST_F(CVekInetTest, BuildsTargets) {
  initialise();
  const std::uint32_t plain = connect("http://srv:1/a/b.dll?query");
  const std::uint32_t bare = connect("http://srv");
  const char* const two[] = {"i d", "\xC3\xA9&-_.*"};
  const char* const withNull[] = {"x", nullptr};
  const std::string tooLong(700, '&');  // 2100 bytes when escaped.
  const char* const huge[] = {tooLong.c_str()};
  struct Case {
    std::uint32_t handle, type, count;
    const char* const* identities;
    bool upload;
    const char* fileName;
    bool built;
    std::string target;
  } const cases[] = {
      {plain, 0, 9, nullptr, true, nullptr, true, "/a/b.dll?ORLACommand=GetVersion"},
      {bare, 65535, 0, nullptr, false, nullptr, true,
       "/?ORLACommand=CompileName&Type=65535&Encoding=UTF-8"},
      {bare, 2, 2, two, true, "", true,
       "/?ORLACommand=UploadPackage&Type=2&Identity0=i%20d&Identity1=%C3%A9%26-_.*"
       "&Encoding=UTF-8"},
      {plain, 1, 1, two, true, "p q.zip", true,
       "/a/b.dll?ORLACommand=UploadPackage&Type=1&Identity0=i%20d&Encoding=UTF-8"
       "&FileName=p%20q.zip"},
      {bare, 1, 2, withNull, false, nullptr, false, ""},
      {bare, 1, 1, nullptr, false, nullptr, false, ""},
      {bare + plain, 1, 0, nullptr, false, nullptr, false, ""},
      // What does not fit its own buffer goes out as it stands.
      {bare, 1, 1, huge, false, nullptr, true,
       "/?ORLACommand=CompileName&Type=1&Identity0=" + tooLong + "&Encoding=UTF-8"},
      {bare, 1, 0, nullptr, true, tooLong.c_str(), true,
       "/?ORLACommand=UploadPackage&Type=1&Encoding=UTF-8&FileName=" + tooLong},
  };
  for (const Case& c : cases) {
    char target[2070] = "?";
    EXPECT_EQ(c.upload ? inet_.BuildUpload(c.handle, c.type, c.count, c.identities, c.fileName,
                                           target, sizeof target)
                       : inet_.BuildCommand(c.handle, c.type, c.count, c.identities, false, target,
                                            sizeof target),
              c.built);
    EXPECT_EQ(target, c.target);
  }
  EXPECT_FALSE(inet_.BuildCommand(bare, 0, 0, nullptr, false, nullptr, 10));

  // A target fits with its terminating zero or not at all; a name that does not fit leaves the
  // rest.
  const std::string full = "/?ORLACommand=UploadPackage&Type=1&Encoding=UTF-8";
  std::vector<char> room(full.size() + 1);
  EXPECT_FALSE(inet_.BuildUpload(bare, 1, 0, nullptr, "n", room.data(), room.size()));
  EXPECT_EQ(room.data(), full);
  EXPECT_FALSE(inet_.BuildUpload(bare, 1, 0, nullptr, "n", room.data(), room.size() - 1));
  EXPECT_STREQ(room.data(), "");
}

/// A reply of status 200 with `body`.
test::Script answer(const std::string& body) {
  return test::reply("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) +
                     "\r\n\r\n" + body);
}

TEST_F(CVekInetTest, ReadsVersions) {
  initialise();
  struct Case {
    const char* text;
    std::uint32_t status;
    std::uint16_t major, minor;
  } const cases[] = {{"5.10.1234\r\n", 0, 5, 10},
                     {"65537.131072.0\n\n\r", 0, 1, 0},
                     {"99999999999999999999.007.1", 0, 65535, 7},
                     {"5.10", 4, 0, 0},
                     {"5..1", 4, 0, 0},
                     {".5.1", 4, 0, 0},
                     {"5.1.", 4, 0, 0},
                     {"5.1.2.3", 4, 0, 0},
                     {"5.1.2 ", 4, 0, 0},
                     {"5.1.2\r\n.", 4, 0, 0},
                     {"v5.1.2", 4, 0, 0},
                     {"\r\n", 4, 0, 0},
                     {"", 4, 0, 0}};
  for (const Case& c : cases) {
    ScriptedServer server{answer(c.text)};
    const std::uint32_t handle = connect(server.url("/p"));
    std::uint16_t major = 9, minor = 9;
    inet_.SetCode(77);
    EXPECT_EQ(inet_.GetVersion(handle, &major, &minor), c.status) << c.text;
    EXPECT_EQ(major, c.major) << c.text;
    EXPECT_EQ(minor, c.minor) << c.text;
    EXPECT_EQ(code(), c.status == 0 ? 77U : 58U) << c.text;
    EXPECT_TRUE(server.request().starts_with("GET /p?ORLACommand=GetVersion HTTP/1.1\r\n"));
    inet_.Disconnect(handle);
  }

  std::uint16_t major = 9, minor = 9;
  EXPECT_EQ(inet_.GetVersion(12345, &major, &minor), 6U);
  EXPECT_EQ(major, 0);
  const std::uint32_t tooLong = connect("http://127.0.0.1:1/" + std::string(2046, 'p'));
  EXPECT_EQ(inet_.GetVersion(tooLong, &major, &minor), 6U);

  ScriptedServer unmodified{test::reply("HTTP/1.1 304 X\r\n\r\n")};
  EXPECT_EQ(inet_.GetVersion(connect(unmodified.url("/")), &major, &minor), 4U);
  EXPECT_EQ(code(), 58U);
  EXPECT_EQ(message(), "HTTP 304: file not modified.");
}

TEST_F(CVekInetTest, AsksForPackageNames) {
  initialise();
  const char* const identities[] = {"id"};
  struct Case {
    std::uint32_t size;
    std::string expected;  // The whole buffer.
    std::uint32_t sizeAfter;
  } const cases[] = {{8, std::string("name\0\0\0\0????", 12), 4},
                     {4, "name????????", 4},
                     {2, "na??????????", 2},
                     {0, std::string("\0???????????", 12), 0}};
  for (const Case& c : cases) {
    ScriptedServer server{answer("name")};
    const std::uint32_t handle = connect(server.url("/"));
    std::string buffer(12, '?');
    std::uint32_t size = c.size;
    EXPECT_EQ(inet_.GetPackageName(handle, 0x20003, 0x10001, identities, buffer.data(), &size), 0U);
    EXPECT_EQ(buffer, c.expected) << c.size;
    EXPECT_EQ(size, c.sizeAfter);
    EXPECT_TRUE(server.request().starts_with(
        "GET /?ORLACommand=CompileName&Type=3&Identity0=id&Encoding=UTF-8 HTTP/1.1\r\n"));
    inet_.Disconnect(handle);
  }

  // A target that cannot be built goes out empty.
  const char* const withNull[] = {nullptr};
  ScriptedServer server{test::reply("HTTP/1.1 400 X\r\nContent-Length: 0\r\n\r\n")};
  const std::uint32_t handle = connect(server.url("/"));
  char name[4] = "old";
  std::uint32_t size = sizeof name;
  EXPECT_EQ(inet_.GetPackageName(handle, 1, 1, withNull, name, &size), 12U);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(message(), "HTTP 400: bad request.");
  EXPECT_TRUE(server.request().starts_with("GET  HTTP/1.1\r\n"));

  EXPECT_EQ(inet_.GetPackageName(handle, 1, 0, nullptr, name, &size), 6U);
  EXPECT_EQ(inet_.GetPackageName(handle, 1, 0, identities, nullptr, &size), 6U);
  EXPECT_EQ(inet_.GetPackageName(handle, 1, 0, identities, name, nullptr), 6U);
  EXPECT_EQ(inet_.GetPackageName(handle + 1, 1, 0, identities, name, &size), 6U);
}

TEST_F(CVekInetTest, SendsPackages) {
  initialise();
  const TempDir folder;
  std::string package;
  for (int i = 0; i < 300000; ++i) package += static_cast<char>(i * 31 % 257);
  struct Case {
    std::string package;
    std::uint32_t size;
    std::string expected;  // The whole buffer.
  } const cases[] = {{package, 8, std::string("as\0\0\0\0\0\0????", 12)},
                     {"", 1, std::string("ak\0?????????", 12)},
                     {"x", 0, std::string("pk\0?????????", 12)},
                     {"x", 0x80000000, std::string("pk\0?????????", 12)}};
  for (const Case& c : cases) {
    ScriptedServer server{answer("as")};
    const std::uint32_t handle = connect(server.url("/up"));
    const std::string path = folder.write("package", c.package);
    std::string name(12, '?');
    name.replace(0, 3, "pk\0", 3);
    std::uint32_t size = c.size;
    EXPECT_EQ(inet_.SendPackage(handle, 7, 0, nullptr, path.c_str(), name.data(), &size), 0U);
    EXPECT_EQ(size, c.package.size());
    EXPECT_EQ(name, c.expected);
    const std::string host = "Host: 127.0.0.1:" + std::to_string(server.port()) + "\r\n\r\n";
    const std::string length =
        c.package.empty() ? "" : "Content-Length: " + std::to_string(c.package.size()) + "\r\n";
    EXPECT_EQ(server.request(),
              "POST /up?ORLACommand=UploadPackage&Type=7&Encoding=UTF-8&FileName=pk HTTP/1.1\r\n" +
                  length + host + c.package);
    inet_.Disconnect(handle);
  }

  ScriptedServer refusing{test::reply("HTTP/1.1 401 X\r\nContent-Length: 0\r\n\r\n")};
  const std::uint32_t handle = connect(refusing.url("/"));
  const std::string path = folder.write("package", "x");
  char name[] = "pk";
  const char* const withNull[] = {nullptr};
  const std::string longName(3000, 'n');
  const auto send = [&](std::uint32_t to, std::uint32_t count, const char* file, const char* as) {
    std::string buffer = as;
    std::uint32_t size = 1;
    const std::uint32_t status =
        inet_.SendPackage(to, 1, count, withNull, file, buffer.data(), &size);
    EXPECT_EQ(size, 0xFFFFFFFF);
    return status;
  };
  EXPECT_EQ(send(handle, 0, path.c_str(), name), 9U);
  EXPECT_EQ(message(), "HTTP 401: unauthorized.");
  EXPECT_EQ(send(handle + 1, 0, path.c_str(), name), 6U);
  EXPECT_EQ(send(handle, 1, path.c_str(), name), 6U);
  EXPECT_EQ(send(handle, 0, path.c_str(), longName.c_str()), 6U);
  EXPECT_EQ(send(handle, 0, folder.path("missing").c_str(), name), 14U);
  EXPECT_EQ(send(handle, 0, nullptr, name), 6U);
}

void ORLA_CALL ignoreProgress(orla_progress_record*, const void*, std::uint32_t) {}
void ORLA_CALL cancelProgress(orla_progress_record* record, const void*, std::uint32_t) {
  record->status = ORLA_PROGRESS_CANCEL;
}

TEST_F(CVekInetTest, DownloadsFilesWholeOrNotAtAll) {
  initialise();
  const TempDir folder;
  const std::string path = folder.write("file", "old");
  const std::string bytes(100000, 'n');
  struct Case {
    test::Script script;
    orla_progress_fn progress;
    const char* counter;
    std::uint32_t status;
    const char* message;
  } const cases[] = {
      {test::reply("HTTP/1.1 404 X\r\n\r\nnone"), ignoreProgress, nullptr, 10,
       "HTTP 404: file not found."},
      {test::reply("HTTP/1.1 403 X\r\n\r\nnone"), ignoreProgress, nullptr, 10,
       "HTTP 404: file not found."},
      {test::reply("HTTP/1.1 200 X\r\nContent-Length: 9\r\n\r\nnone"), ignoreProgress, "1", 4,
       "RWHttpHandlerError: The body was not completely consumed"},
      {answer(bytes), nullptr, nullptr, 4,
       "RWHttpHandlerError: The body was not completely consumed"},
      {answer(bytes), cancelProgress, nullptr, 12, "Transport internal error"},
      {answer(bytes), ignoreProgress, "7&x", 0, "Transport internal error"},
  };
  for (const Case& c : cases) {
    ScriptedServer server{c.script};
    const std::uint32_t handle = connect(server.url("/unused"));
    orla_progress_record record = {};
    EXPECT_EQ(inet_.DownloadFile(handle, "/f?a=1", path.c_str(), c.progress, &record, c.counter),
              c.status);
    EXPECT_EQ(message(), c.message);
    EXPECT_EQ(folder.read("file"), c.status == 0 ? bytes : "old");
    EXPECT_THAT(folder.names(), ElementsAre("file")) << "a temporary file is left";
    if (c.status == 0) {
      EXPECT_EQ(+record.byte_count, bytes.size());
    }
    EXPECT_TRUE(server.request().starts_with(
        "GET /f?a=1" + (c.counter ? std::string("&Counter=") + c.counter : "") + " HTTP/1.1\r\n"));
    inet_.Disconnect(handle);
  }
}

TEST_F(CVekInetTest, RunsTheRequestOfADownloadWithoutAFile) {
  initialise();
  const TempDir folder;
  struct Case {
    std::string path;
    std::uint32_t status;
  } const cases[] = {{folder.path("missing/file"), 1}, {"nofolder", 6}, {"", 6}};
  for (const Case& c : cases) {
    ScriptedServer server{answer("dropped")};
    const std::uint32_t handle = connect(server.url("/"));
    orla_progress_record record = {};
    EXPECT_EQ(inet_.DownloadFile(handle, "/f", c.path.c_str(), ignoreProgress, &record, nullptr),
              c.status);
    EXPECT_TRUE(server.request().starts_with("GET /f HTTP/1.1\r\n"));
    inet_.Disconnect(handle);
  }
  const std::uint32_t handle = connect("http://srv");
  orla_progress_record record = {};
  EXPECT_EQ(inet_.DownloadFile(0, "/f", "/x", ignoreProgress, &record, nullptr), 6U);
  EXPECT_EQ(inet_.DownloadFile(handle, nullptr, "/x", ignoreProgress, &record, nullptr), 6U);
  EXPECT_EQ(inet_.DownloadFile(handle, "/f", nullptr, ignoreProgress, &record, nullptr), 6U);
}

TEST_F(CVekInetTest, KeepsACodeForEachThreadAndOneMessage) {
  EXPECT_EQ(code(), 0xFFFFFFFFU);
  inet_.OpenThreadRecord();
  EXPECT_EQ(code(), 0U);
  inet_.SetCode(5);
  inet_.SetMessage("first");
  std::thread([&] {
    EXPECT_EQ(code(), 0xFFFFFFFFU);
    SetLastError(123);
    EXPECT_EQ(inet_.SetCode(0xFFFFFFFF), 123U);
    EXPECT_EQ(code(), 123U);
    inet_.SetMessage("second");
    inet_.SetMessage(nullptr);
    inet_.CloseThreadRecord();
    EXPECT_EQ(code(), 0xFFFFFFFFU);
  }).join();
  EXPECT_EQ(code(), 5U);
  EXPECT_EQ(message(), "second");
  SetLastError(6);
  EXPECT_EQ(inet_.SetCodeFromSystem(), 6U);
}

TEST(CVekInet, RaisesError1WithoutItsGuard) {
  // The names of the guard's kernel objects would be too long.
  CVekInet inet(std::string(300, 'x').c_str());
  EXPECT_EQ(inet.Initialize(0, nullptr), 0U);
  std::uint32_t handle = 0;
  const auto raised = [](auto action) -> std::uint32_t {
    try {
      action();
      return 0;
    } catch (const CVekExceptionImp& error) {
      return error.GetErrorCode();
    }
  };
  EXPECT_EQ(raised([&] { inet.Connect("http://s", "", 0, &handle); }), 1U);
  EXPECT_EQ(raised([&] { inet.Disconnect(1); }), 1U);
  std::uint16_t major, minor;
  EXPECT_EQ(inet.GetVersion(1, &major, &minor), 1U);
  EXPECT_EQ(inet.Cleanup(), 1U);
}

TEST_F(CVekInetTest, LetsARunningCommandOutliveTheCleanUp) {
  initialise();
  test::Gate requested, answered;
  ScriptedServer server{{test::expectRequest(), test::opens(requested), test::waitFor(answered),
                         test::sendBytes("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n1.2.3")}};
  const std::uint32_t handle = connect(server.url("/"));
  std::uint16_t major = 0, minor = 0;
  std::thread command([&] { EXPECT_EQ(inet_.GetVersion(handle, &major, &minor), 0U); });
  EXPECT_TRUE(requested.wait());
  EXPECT_EQ(inet_.Cleanup(), 0U);
  EXPECT_EQ(inet_.Disconnect(handle), 6U);
  answered.open();
  command.join();
  EXPECT_EQ(major, 1);
}

}  // namespace
}  // namespace orla
