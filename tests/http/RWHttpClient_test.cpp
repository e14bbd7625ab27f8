#include "http/RWHttpClient.h"

#include <gtest/gtest.h>

#include "http/RWHttpErrors.h"
#include "net/RWInetAddr.h"
#include "net/RWNetErrors.h"
#include "net/RWWinsockStartup.h"
#include "support/ScriptedServer.h"

namespace orla {
namespace {

using test::expectEnd;
using test::expectRequest;
using test::reply;
using test::ScriptedServer;
using test::sendBytes;

class RWHttpClientTest : public testing::Test {
 public:
  ~RWHttpClientTest() noexcept override = default;

 protected:
  void connect(const ScriptedServer& server, std::uint32_t timeout = 0) {
    client_->connect("127.0.0.1", static_cast<std::uint32_t>(server.port()), timeout);
  }

  RWWinsockStartup winsock_;
  RWTHandle<RWHttpSocketClientImp> client_{new RWHttpSocketClientImp};
};

/// The message of what `action` raises.
template <class Action>
RWCString errorOf(Action action) {
  try {
    action();
    return "nothing raised";
  } catch (const RWxmsg& error) {
    return error.why();
  }
}

TEST_F(RWHttpClientTest, NeedsAConnectionAndARequest) {
  RWCString body;
  EXPECT_FALSE(client_->isConnected());
  EXPECT_EQ(errorOf([&] { client_->submit(RWHttpRequest("GET", "/")); }),
            "RWHttpConnectionError: Connection lost or not established");
  EXPECT_EQ(errorOf([&] { client_->getReply(body); }),
            "RWHttpNoPendingRepliesError: No replies expected from server");
  EXPECT_EQ(errorOf([&] { client_->submit(RWHttpRequest("GET", "/"), 2); }),
            "RWHttpRequestError: Invalid pipeline method");
  EXPECT_EQ(errorOf([&] { client_->connect("127.0.0.1", 65536, 0); }),
            "RWInetServiceNotFoundError: No such service '65536'");
}

TEST_F(RWHttpClientTest, KeepsOneConnectionForSeveralRequests) {
  ScriptedServer server{{expectRequest(),
                         sendBytes("HTTP/1.1 100 Continue\r\nX: y\r\n\r\nHTTP/1.1 200 OK\r\n"
                                   "Transfer-Encoding: chunked\r\n\r\n2\r\nhi\r\n0\r\n\r\n"),
                         expectRequest(), sendBytes("HTTP/1.1 204 None\r\n\r\n"), expectRequest(),
                         sendBytes("HTTP/1.1 200 OK\r\n\r\nlast")}};
  connect(server);
  EXPECT_TRUE(client_->isConnected());
  for (const auto& [uri, expected] : {std::pair("/a", "hi"), {"/b", ""}, {"/c", "last"}}) {
    RWCString body;
    ASSERT_TRUE(client_->submit(RWHttpRequest("GET", uri)));
    EXPECT_FALSE(client_->submit(RWHttpRequest("GET", "/refused")));
    EXPECT_FALSE(client_->submit(RWHttpRequest("GET", "/refused"), RWHttpClientImp::kPipeline));
    EXPECT_TRUE(client_->getReply(body).is2XX());
    EXPECT_EQ(body, expected);
    EXPECT_FALSE(client_->hasPendingReplies());
  }
  const std::string host = "Host: 127.0.0.1:" + std::to_string(server.port()) + "\r\n\r\n";
  EXPECT_EQ(server.request(), "GET /a HTTP/1.1\r\n" + host + "GET /b HTTP/1.1\r\n" + host +
                                  "GET /c HTTP/1.1\r\n" + host);
}

TEST_F(RWHttpClientTest, PipelinesAndReadsRepliesInOrder) {
  ScriptedServer server{{expectRequest(), expectRequest(),
                         sendBytes("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\none"
                                   "HTTP/1.1 404 No\r\nContent-Length: 3\r\n\r\ntwo")}};
  connect(server);
  EXPECT_TRUE(client_->submit(RWHttpRequest("GET", "/1"), RWHttpClientImp::kPipeline));
  EXPECT_TRUE(client_->submit(RWHttpRequest("GET", "/2"), RWHttpClientImp::kPipeline));
  EXPECT_FALSE(client_->submit(RWHttpRequest("GET", "/3")));
  RWCString first, second;
  EXPECT_EQ(client_->getReply(first).getStatusCode(), 200);
  EXPECT_EQ(client_->getReply(second).getStatusCode(), 404);
  EXPECT_EQ(first + second, "onetwo");
}

void readNothing(RWPortal, int) {}
void readOnce(RWPortal portal, int most) {
  portal.recv(RWCString(8, ' ').data(), most);
}

TEST_F(RWHttpClientTest, WantsBodiesReadToTheirEnd) {
  const RWCString unread = "RWHttpHandlerError: The body was not completely consumed";
  using Handler = RWTFunctor1GA1Imp<RWPortal, void, RWPortal, int>;
  const struct {
    const char* wire;
    Handler::Function read;
    RWCString expected;
    const char* method = "GET";
  } cases[] = {
      {"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbody", readOnce, unread},
      {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", readNothing, unread},
      {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", readOnce, "nothing raised"},
      {"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n", readNothing, "nothing raised", "HEAD"},
      {"HTTP/1.1 204 OK\r\n\r\n", readNothing, "nothing raised"},
      {"HTTP/1.1 304 OK\r\n\r\n", readNothing, "nothing raised"},
      {"HTTP/1.1 200 OK\r\n\r\nx", readOnce, unread},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.wire);
    ScriptedServer server{reply(c.wire)};
    connect(server);
    client_->submit(RWHttpRequest(c.method, "/"));
    EXPECT_EQ(
        errorOf([&] { client_->getReply(RWHttpClientImp::BodyHandler(new Handler(c.read, 2))); }),
        c.expected);
    client_->disconnect();
  }
}

TEST_F(RWHttpClientTest, ConnectsWithinATimeLimit) {
  ScriptedServer server{reply("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi")};
  connect(server, 10000);
  RWCString body;
  client_->submit(RWHttpRequest("GET", "/"));
  EXPECT_EQ(client_->getReply(body, 10000).getStatusCode(), 200);
  EXPECT_EQ(body, "hi");
}

TEST_F(RWHttpClientTest, TellsRefusalFromSilence) {
  RWSocket listener;
  listener.bind(RWInetAddr("127.0.0.1:0"));
  const RWCString address = listener.getsockname().raw();
  const auto port = static_cast<std::uint32_t>(static_cast<unsigned char>(address[2]) << 8 |
                                               static_cast<unsigned char>(address[3]));
  // Bound but not listening: refused.
  EXPECT_EQ(errorOf([&] { client_->connect("127.0.0.1", port, 0); }),
            "RWSocketError: in RWSocket::connect: CONNREFUSED");
  EXPECT_EQ(errorOf([&] { client_->connect("127.0.0.1", port, 5000); }),
            "Unexpected error condition on socket");
  EXPECT_FALSE(client_->isConnected());
  // Accepted by the system, but nobody answers. Below a second the wait only polls.
  listener.listen(1);
  client_->connect("127.0.0.1", port, 5000);
  client_->submit(RWHttpRequest("GET", "/"));
  RWCString body;
  EXPECT_EQ(errorOf([&] { client_->getReply(body, 999); }),
            "RWNetOperationTimeoutError: Network timeout exceeded");
  listener.close();
}

}  // namespace
}  // namespace orla
