#include "client/CVekInet.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <list>
#include <set>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <tuple>

#include "support/Server.h"
#include "support/TempDir.h"

namespace orla {
namespace {

using test::Server;
using Bytes = std::string;

Bytes answer(const Bytes& body, int status = 200) {
  return "HTTP/1.1 " + std::to_string(status) +
         " X\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

class CVekInetTest : public testing::Test {
 protected:
  CVekInetTest() { EXPECT_EQ(inet_.Initialize(0x10000, nullptr), 0U); }

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
  /// The target of an upload for a URL with `path`, followed by "!" if it was refused.
  static std::string target(const char* path, std::uint32_t type, std::uint32_t count,
                            const char* const* identities, const char* name,
                            std::size_t size = 2070) {
    char text[2070] = "?";
    const bool built = CVekInet::BuildUpload(path, type, count, identities, name, text, size);
    return text + std::string(built ? "" : "!");
  }

  CVekInet inet_{nullptr};  // With kernel objects of its own.
  const char* const withNull_[1] = {};
};

TEST(CVekInet, InitialisesOnce) {
  CVekInet inet(nullptr);
  std::uint32_t none = 0, handle = 7;
  EXPECT_EQ(inet.Initialize(1, ""), 6U);
  EXPECT_EQ(inet.Connect("http://s", "", 0, &none), 1U);
  EXPECT_EQ(inet.Connect("http://s", "", 0, &handle), 0U);
  EXPECT_TRUE(none == 0 && handle == 7);
  EXPECT_EQ(inet.Initialize(1, "text"), 0U);
  EXPECT_EQ(inet.Initialize(1, nullptr), 0U) << "the arguments count the first time only";
  EXPECT_EQ(inet.Connect("http://s", "", 0, nullptr), 1U);
  EXPECT_TRUE(inet.Connect("http://s", nullptr, 0, &handle) == 0 && handle != 7);
  EXPECT_EQ(inet.Cleanup() + inet.Cleanup(), 0U);
  EXPECT_EQ(inet.Disconnect(handle), 6U);
}

TEST_F(CVekInetTest, HandsOutHandlesAndReusesThem) {
  std::set<std::uint32_t> handles = {0};
  for (int i = 0; i < 29; ++i) handles.insert(connect("http://srv"));
  Server oldServer({answer("1.2.3")}), newServer({answer("1.2.3")});
  std::uint16_t major, minor;
  const std::uint32_t last = connect(oldServer.url("/old?query"));
  EXPECT_TRUE(handles.insert(last).second && handles.size() == 31);
  std::uint32_t handle = 99;
  EXPECT_EQ(inet_.Connect("http://s", "", 0, &handle), 1U);
  EXPECT_EQ(handle, 0U);
  EXPECT_EQ(inet_.Disconnect(last) + inet_.Disconnect(last), 0U);
  EXPECT_EQ(inet_.GetVersion(last, &major, &minor), 0U) << "still found";
  EXPECT_TRUE(oldServer.received().starts_with("GET /old?ORLACommand=GetVersion "));
  EXPECT_EQ(inet_.Connect("bad", "", 0, &handle), 1U);
  EXPECT_EQ(message(), "") << "neither a full table nor a free connection sets a message";
  EXPECT_EQ(connect(newServer.url("/new")), last);
  EXPECT_EQ(inet_.GetVersion(last, &major, &minor), 0U);
  EXPECT_TRUE(newServer.received().starts_with("GET /new?ORLACommand=GetVersion "));
}

TEST_F(CVekInetTest, BuildsTargets) {
  const char* const plain = "a/b.dll";
  const char* const bare = "";
  const char* const two[] = {"AZaz09-_.* \x7F\x80\xFF", "@[`{/:+,~%"};
  // Escaped and ended, one byte more than the 2070 of a buffer: it goes out as it stands.
  const std::string tooLong(690, '&'), fits = tooLong.substr(1) + "aa";
  const char* const large[] = {tooLong.c_str(), fits.c_str()};
  const std::string upload = "?ORLACommand=UploadPackage&Type=", end = "&Encoding=UTF-8";
  const std::string full = "/" + upload + "1" + end;
  EXPECT_EQ(target(plain, 65535, 2, two, "p q.zip"),
            "/a/b.dll" + upload +
                "65535&Identity0=AZaz09-_.*%20%7F%80%FF&Identity1=%40%5B%60%7B%2F%3A%2B%2C%7E%25" +
                end + "&FileName=p%20q.zip");
  EXPECT_EQ(target(bare, 1, 1, large, ""), "/" + upload + "1&Identity0=" + tooLong + end);
  EXPECT_EQ(target(bare, 1, 1, large + 1, ""), "!") << "escaped, it leaves no room for the rest";
  EXPECT_EQ(target(bare, 1, 0, nullptr, large[0]), full + "&FileName=" + tooLong);
  EXPECT_EQ(target(bare, 1, 1, withNull_, "n"), "!");
  EXPECT_EQ(target(bare, 1, 1, nullptr, "n"), "!");
  // A target fits with its terminating zero or not at all; a name that does not leaves the rest.
  EXPECT_EQ(target(bare, 1, 0, nullptr, "n", full.size() + 11), full + "!");
  EXPECT_EQ(target(bare, 1, 0, nullptr, "n", full.size() + 12), full + "&FileName=n");
  EXPECT_EQ(target(bare, 1, 0, nullptr, "", full.size()), "!");
  std::uint16_t major = 9, minor = 9;
  const std::uint32_t noRoom = connect("http://srv/" + std::string(2046, 'p'));
  EXPECT_TRUE(inet_.GetVersion(noRoom, &major, &minor) == 6 && major == 0 && minor == 0);
}

TEST_F(CVekInetTest, AsksForPackageNames) {
  const char* const identities[] = {"id"};
  Bytes name;  // The whole buffer.
  std::uint32_t size;
  const auto ask = [&](const Bytes& text, std::uint32_t room, const char* const* ids) {
    Server server({text});
    const std::uint32_t handle = connect(server.url("/"));
    name.assign(8, '?');
    size = room;
    const auto status = inet_.GetPackageName(handle, 0x20003, 0x10001, ids, name.data(), &size);
    return std::to_string(status) + " " + server.received().substr(0, server.received().find(" H"));
  };
  const std::tuple<Bytes, std::uint32_t, std::uint32_t, Bytes> cases[] = {
      {"name", 7, 4, {"name\0\0\0?", 8}},
      {"name", 4, 4, "name????"},
      {"name", 2, 2, "na??????"},
      {"name", 0, 0, {"\0???????", 8}},
      {{"na\0me", 5}, 4, 2, {"na\0\0????", 8}}};
  for (const auto& [reply, room, sizeAfter, expected] : cases) {
    EXPECT_EQ(ask(answer(reply), room, identities),
              "0 GET /?ORLACommand=CompileName&Type=3&Identity0=id&Encoding=UTF-8");
    EXPECT_EQ(name, expected);
    EXPECT_EQ(size, sizeAfter);
  }
  EXPECT_EQ(ask(answer("", 400), 8, withNull_), "12 GET ") << "what cannot be built goes out empty";
  EXPECT_EQ(name[0], 0);
  EXPECT_EQ(inet_.GetPackageName(connect("http://s"), 1, 0, identities, nullptr, &size), 6U);
}

TEST_F(CVekInetTest, SendsPackages) {
  const test::TempDir folder;
  const std::string path = folder.path("package");
  const std::tuple<Bytes, std::uint32_t, Bytes> cases[] = {
      {Bytes(300000, 'p'), 5, {"as\0\0\0?", 6}},
      {"", 1, {"ak\0???", 6}},
      {"x", 0, {"pk\0???", 6}},
      {"x", 0x80000000, {"pk\0???", 6}}};
  Bytes name;  // The whole buffer.
  std::uint32_t size, handle;
  const auto send = [&](std::uint32_t count, const char* file) {
    return inet_.SendPackage(handle, 1, count, withNull_, file, name.data(), &size);
  };
  for (const auto& [package, room, nameAfter] : cases) {
    Server server({answer("as")});
    handle = connect(server.url("/up"));
    name = {"pk\0???", 6};
    size = room;
    folder.write("package", package);
    EXPECT_EQ(send(0, path.c_str()), 0U);
    EXPECT_EQ(size, package.size());
    EXPECT_EQ(name, nameAfter);
    const std::string request = server.received();
    EXPECT_TRUE(request.starts_with("POST " + target("up", 1, 0, nullptr, "pk") + " HTTP/1.1\r"));
    EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4), package);
  }
  Server server({answer("", 401)});
  handle = connect(server.url("/up"));
  EXPECT_EQ(send(0, path.c_str()), 9U);
  EXPECT_EQ(message(), "HTTP 401: unauthorized.");
  EXPECT_EQ(size, 0xFFFFFFFF);
  EXPECT_EQ(send(1, path.c_str()), 6U);
  EXPECT_EQ(send(0, folder.path("missing").c_str()), 14U);
  EXPECT_EQ(send(0, nullptr), 6U);
  name.assign(3000, 'n');
  EXPECT_EQ(send(0, path.c_str()), 6U);
}

using Record = orla_progress_record;
void ORLA_CALL goOn(Record*, const void*, std::uint32_t) {}
template <std::uint32_t Status>
void ORLA_CALL stop(Record* record, const void*, std::uint32_t) {
  EXPECT_EQ(record->reserved[0]++, 0) << "called again";
  record->status = Status;
}
void ORLA_CALL fail(Record*, const void*, std::uint32_t) {
  throw std::runtime_error("");
}

TEST_F(CVekInetTest, DownloadsFilesWholeOrNotAtAll) {
  const test::TempDir folder;
  const std::string file = folder.write("file", "old"), place = folder.path("place");
  const std::string missing = folder.path("missing/file"), all(100000, 'n');
  std::filesystem::create_directory(place);  // No file takes a folder's place.
  const char* const internal = "Transport internal error";
  const char* const unread = "RWHttpHandlerError: The body was not completely consumed";
  const struct {
    Bytes reply;
    std::string path;
    orla_progress_fn progress;
    const char* counter;
    std::uint32_t status;
    const char* message;
  } cases[] = {
      {answer(all), file, nullptr, nullptr, 4, unread},
      {answer(all), file, stop<ORLA_PROGRESS_CANCEL>, nullptr, 12, internal},
      {answer(all), file, stop<ORLA_PROGRESS_ABANDON>, nullptr, 13, internal},
      {answer(all), file, fail, nullptr, 4, internal},
      {answer(all), missing, goOn, nullptr, 1, internal},
      {answer(all), "nofolder", goOn, nullptr, 6, internal},
      {answer("all"), place, goOn, nullptr, 9, ""},
      {answer(all), file, goOn, "7&x", 0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Server server({c.reply});
    inet_.SetMessage("");
    Record record = {};
    EXPECT_EQ(inet_.DownloadFile(connect(server.url("/unused")), "/f?a=1", c.path.c_str(),
                                 c.progress, &record, c.counter),
              c.status);
    EXPECT_EQ(message(), c.message);
    EXPECT_EQ(folder.read("file"), c.status == 0 ? all : "old");
    EXPECT_THAT(folder.names(), testing::ElementsAre("file", "place")) << "temporary file left";
    EXPECT_TRUE(server.received().starts_with(
        "GET /f?a=1" + (c.counter ? std::string("&Counter=") + c.counter : "") + " HTTP/1.1\r\n"));
  }
}

TEST_F(CVekInetTest, KeepsACodeForEachThreadAndOneMessage) {
  inet_.OpenThreadRecord();
  EXPECT_EQ(code(), 0U);
  std::thread([&] {
    EXPECT_EQ(code(), 0xFFFFFFFFU);
    SetLastError(123);
    EXPECT_EQ(inet_.SetCode(0xFFFFFFFF), 123U);
    EXPECT_EQ(code(), 123U);
    std::uint32_t handle = 0;
    EXPECT_EQ(inet_.Connect("http:srv", "", 0, &handle), 1U);
    inet_.CloseThreadRecord();
    EXPECT_EQ(code(), 0xFFFFFFFFU);
  }).join();
  EXPECT_EQ(code(), 0U);
  EXPECT_EQ(message(), "URL 'http:srv' is invalid.");
}

// Records come and go below a thread's own one between its search and its access.
TEST_F(CVekInetTest, ThreadsDoNotDisturbTheCodesOfOthers) {
  std::list<std::jthread> threads;
  for (std::uint32_t own = 1; own <= 6; ++own) {
    threads.emplace_back([this, own] {
      for (int round = 0; round < 20000 && !HasFailure(); ++round) {
        EXPECT_EQ(code(), 0xFFFFFFFFU);
        inet_.SetCode(own);
        EXPECT_EQ(code(), own);
        inet_.CloseThreadRecord();
      }
    });
  }
}

// The connection's URL changes while the upload, which has its target already, reads its file.
TEST_F(CVekInetTest, SendsEachCommandToTheServerOfItsPath) {
  const test::TempDir folder;
  const std::string package = folder.write("package", Bytes(16U << 20, 'p'));
  const test::Listener listener;
  const std::string port = std::to_string(listener.port);
  const std::string urls[] = {"http://127.0.0.1:" + port + "/0", "http://localhost:" + port + "/1"};
  const std::uint32_t handle = connect(urls[0]);
  const std::jthread server([&] {
    for (int i = 0; i < 10; ++i) {
      test::Connection client(listener);
      const std::string request = client.request();
      EXPECT_EQ(request.starts_with("POST /0?"), request.find("\nHost: 127.") != Bytes::npos);
      client.sendAll(answer("name"));
    }
  });
  const std::jthread changer([&](const std::stop_token& over) {
    for (int turn = 1; !over.stop_requested(); ++turn) {
      EXPECT_EQ(inet_.Disconnect(handle), 0U);
      EXPECT_EQ(connect(urls[turn % 2]), handle);
      std::this_thread::yield();
    }
  });
  for (int i = 0; i < 10; ++i) {
    std::uint32_t size = 0;
    EXPECT_EQ(inet_.SendPackage(handle, 1, 0, nullptr, package.c_str(), nullptr, &size), 0U);
  }
}

TEST_F(CVekInetTest, LetsARunningCommandOutliveTheCleanUp) {
  const test::Listener listener;
  const std::uint32_t handle = connect(listener.url("/"));
  std::uint16_t major = 0, minor = 0;
  std::thread command([&] { EXPECT_EQ(inet_.GetVersion(handle, &major, &minor), 0U); });
  test::Connection server(listener);
  server.request();
  EXPECT_EQ(inet_.Cleanup(), 0U);
  EXPECT_EQ(inet_.Disconnect(handle), 6U);
  server.sendAll(answer("1.2.3"));
  command.join();
  EXPECT_EQ(major, 1);
}

}  // namespace
}  // namespace orla
