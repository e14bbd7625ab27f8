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

struct RWHttpClientTest : testing::Test {
  ~RWHttpClientTest() noexcept override = default;
  void connect(const ScriptedServer& server) {
    client_.connect("127.0.0.1", static_cast<std::uint32_t>(server.port()), 10000);
  }
  bool submit(const char* method, int pipelineMethod = RWHttpClientImp::kNoPipeline) {
    return client_.submit(RWHttpRequest(method, "/"), pipelineMethod);
  }
  RWWinsockStartup winsock_;
  RWHttpClient client_{new RWHttpSocketClientImp};
};

// What was pending on a connection before is forgotten.
TEST_F(RWHttpClientTest, PipelinesWithOneThreadToSubmitAndOneToRead) {
  Script script;
  for (char c = 'a'; c <= 'p'; ++c) {
    script.push_back(expectRequest());
    script.push_back(sendBytes(std::string("HTTP/1.1 200 X\r\nContent-Length: 1\r\n\r\n") + c));
  }
  ScriptedServer server{{expectRequest()}, script};
  connect(server);
  EXPECT_TRUE(submit("HEAD"));
  EXPECT_FALSE(submit("GET", kPipeline));
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
  for (int i = 0; i < 8; ++i) client_.getReply(bodies, 10000);
  EXPECT_EQ(bodies, "abcdefghijklmnop");
  EXPECT_EQ(errorOf([&] { client_.getReply(bodies); }),
            "RWHttpNoPendingRepliesError: No replies expected from server");
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
  RWCString body;
  EXPECT_EQ(client_.getReply(body).getStatusCode(), 204);
  broken->length = 5;
  EXPECT_EQ(errorOf([&] { client_.submit(request); }), "broken");
  EXPECT_EQ(errorOf([&] { submit("GET"); }),
            "RWHttpConnectionError: Connection lost or not established");
}

TEST_F(RWHttpClientTest, TellsARefusalWithinALimitOfTime) {
  RWSocket bound;
  bound.bind(RWInetAddr("127.0.0.1:0"));
  const RWCString name = bound.text();
  const auto port = static_cast<std::uint32_t>(std::stoul(name.substr(name.rfind(':') + 1)));
  EXPECT_EQ(errorOf([&] { client_.connect("127.0.0.1", port, 5000); }),
            "Unexpected error condition on socket");
  EXPECT_FALSE(client_.portal().socket().isValid());
  bound.close();
}

}  // namespace
}  // namespace orla
