#include "http/RWHttpClient.h"

#include <gtest/gtest.h>
#include <thread>

#include "net/RWInetAddr.h"
#include "net/RWWinsockStartup.h"
#include "support/ErrorOf.h"
#include "support/ScriptedServer.h"

namespace orla {
namespace {

using namespace test;
constexpr int kPipeline = RWHttpClientImp::kPipeline;
const RWCString kLost = "RWHttpConnectionError: Connection lost or not established";

struct RWHttpClientTest : testing::Test {
  ~RWHttpClientTest() noexcept override = default;
  void connect(const ScriptedServer& server, std::uint32_t timeout = 0) {
    client_.connect("127.0.0.1", static_cast<std::uint32_t>(server.port()), timeout);
  }
  bool submit(const char* method, int pipelineMethod = RWHttpClientImp::kNoPipeline) {
    return client_.submit(RWHttpRequest(method, "/"), pipelineMethod);
  }
  RWCString body(std::uint32_t timeout = 0) {
    RWCString text;
    const int status = client_.getReply(text, timeout).getStatusCode();
    return std::to_string(status) + " " + text;
  }

  RWWinsockStartup winsock_;
  RWHttpClient client_{new RWHttpSocketClientImp};
};

TEST_F(RWHttpClientTest, KeepsOneConnectionForSeveralRequests) {
  ScriptedServer server{{expectRequest(),
                         sendBytes("HTTP/1.1 100 X\r\nX: y\r\n\r\nHTTP/1.1 200 X\r\n"
                                   "Transfer-Encoding: chunked\r\n\r\n2\r\nhi\r\n0\r\n\r\n"),
                         expectRequest(), sendBytes("HTTP/1.1 204 X\r\n\r\n"), expectRequest(),
                         sendBytes("HTTP/1.1 200 X\r\n\r\nlast")}};
  connect(server, 10000);
  for (const char* expected : {"200 hi", "204 ", "200 last"}) {
    EXPECT_TRUE(submit("GET"));
    EXPECT_FALSE(submit("GET"));
    EXPECT_FALSE(submit("GET", kPipeline));
    EXPECT_EQ(body(10000), expected);
  }
  EXPECT_EQ(errorOf([&] { body(); }),
            "RWHttpNoPendingRepliesError: No replies expected from server");
}

TEST_F(RWHttpClientTest, PipelinesWithOneThreadToSubmitAndOneToRead) {
  Script script;
  for (char c = 'a'; c <= 'p'; ++c) {
    script.push_back(expectRequest());
    script.push_back(sendBytes(std::string("HTTP/1.1 200 X\r\nContent-Length: 1\r\n\r\n") + c));
  }
  ScriptedServer server{script};
  connect(server);
  const auto submitEight = [&] {
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(submit("GET", kPipeline));
  };
  submitEight();
  EXPECT_FALSE(submit("GET"));
  RWCString bodies;
  {
    const std::jthread submitter(submitEight);
    for (int i = 0; i < 8; ++i) client_.getReply(bodies);
  }
  for (int i = 0; i < 8; ++i) client_.getReply(bodies);
  EXPECT_EQ(bodies, "abcdefghijklmnop");
}

TEST_F(RWHttpClientTest, ForgetsPendingRequestsWithTheConnection) {
  ScriptedServer server{{expectRequest()}, reply("HTTP/1.1 200 X\r\nContent-Length: 2\r\n\r\nhi")};
  connect(server);
  submit("HEAD", kPipeline);
  connect(server);
  EXPECT_TRUE(submit("GET"));
  EXPECT_FALSE(submit("GET", kPipeline));
  EXPECT_EQ(body(), "200 hi");
}

TEST_F(RWHttpClientTest, SendsNothingBehindHalfARequest) {
  ScriptedServer server{reply("HTTP/1.1 204 X\r\n\r\n")};
  connect(server);
  struct BrokenBody : RWHttpRequestBody {
    RWCString read(std::size_t) override { throw RWxmsg("broken"); }
    std::int64_t getLength() const override { return length; }
    int length = -1;
  }* const broken = new BrokenBody;
  RWHttpRequest request("POST", "/");
  request.setMinorVersion(0);
  request.setBody(RWTHandle<RWHttpRequestBody>(broken));
  EXPECT_EQ(errorOf([&] { client_.submit(request); }),
            "RWHttpRequestError: Transfer-Encoding: chunked only supported with HTTP/1.1 or higher "
            "requests.");
  EXPECT_TRUE(submit("GET")) << "after requests that were refused whole";
  EXPECT_EQ(body(), "204 ");
  broken->length = 5;
  EXPECT_EQ(errorOf([&] { client_.submit(request); }), "broken");
  EXPECT_EQ(errorOf([&] { submit("GET"); }), kLost);
}

void readOnce(RWPortal portal, int most) {
  if (most > 0) portal.recv(RWCString(8, ' ').data(), most);
}

TEST_F(RWHttpClientTest, WantsBodiesReadToTheirEnd) {
  using Handler = RWTFunctor1GA1Imp<RWPortal, void, RWPortal, int>;
  const struct {
    const char *method, *head;
    int most;  // The handler's one receive; 0: none.
    bool fine;
  } cases[] = {{"GET", "200 X\r\nContent-Length: 4\r\n", 2, false},
               {"GET", "200 X\r\nContent-Length: 0\r\n", 0, false},
               {"GET", "200 X\r\nContent-Length: 0\r\n", 2, true},
               {"GET", "200 X\r\n", 2, false}};
  for (const auto& c : cases) {
    ScriptedServer server{reply(std::string("HTTP/1.1 ") + c.head + "\r\nbody")};
    connect(server);
    submit(c.method);
    const RWHttpClientImp::BodyHandler handler(new Handler(readOnce, c.most));
    EXPECT_EQ(
        errorOf([&] { client_.getReply(handler); }),
        c.fine ? "nothing raised" : "RWHttpHandlerError: The body was not completely consumed")
        << c.head;
  }
}

TEST_F(RWHttpClientTest, TellsRefusalFromSilence) {
  RWSocket listener;
  listener.bind(RWInetAddr("127.0.0.1:0"));
  const RWCString name = listener.text();
  const auto port = static_cast<std::uint32_t>(std::stoul(name.substr(name.rfind(':') + 1)));
  EXPECT_EQ(errorOf([&] { client_.connect("127.0.0.1", port, 5000); }),
            "Unexpected error condition on socket");
  EXPECT_FALSE(client_.portal().socket().isValid());
  // Accepted by the system, but nobody answers. Below a second the wait only polls.
  listener.listen(1);
  client_.connect("127.0.0.1", port, 5000);
  submit("GET");
  EXPECT_EQ(errorOf([&] { body(999); }), "RWNetOperationTimeoutError: Network timeout exceeded");
  listener.close();
}

}  // namespace
}  // namespace orla
