#include "http/RWHttpClient.h"

#include <gtest/gtest.h>
#include <thread>

#include "net/RWInetAddr.h"
#include "net/RWWinsockStartup.h"
#include "support/ErrorOf.h"
#include "support/Server.h"

namespace orla {
namespace {

using namespace test;
constexpr int kPipeline = RWHttpClientImp::kPipeline;

const RWHttpRequest kGet("GET", "/"), kHead("HEAD", "/");

TEST(RWHttpClient, ForgetsPendingRequestsAndPipelinesWithOneThreadToSubmitAndOneToRead) {
  std::vector<std::string> replies;
  for (char c = 'a'; c <= 'p'; c += 2) {
    replies.push_back(std::string("HTTP/1.1 200 X\r\nContent-Length: 1\r\n\r\n") + c);
    replies.push_back("HTTP/1.1 200 X\r\nTransfer-Encoding: chunked\r\n\r\n1\r\n" +
                      std::string(1, static_cast<char>(c + 1)) + "\r\n0\r\n\r\n");
  }
  const Server first({""}), second(replies);
  RWHttpClient client(new RWHttpSocketClientImp);
  client.connect("127.0.0.1", first.port, 10000);
  EXPECT_TRUE(client.submit(kHead));
  EXPECT_FALSE(client.submit(kGet, kPipeline));
  client.connect("127.0.0.1", second.port, 10000);
  int noDelay = 0, size = sizeof noDelay;
  client.portal().socket().getsockopt(IPPROTO_TCP, TCP_NODELAY, &noDelay, &size);
  EXPECT_NE(noDelay, 0);
  const auto submitEight = [&] {
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(client.submit(kGet, kPipeline));
  };
  submitEight();
  EXPECT_FALSE(client.submit(kGet));
  RWCString bodies;
  {
    const std::jthread submitter(submitEight);
    for (int i = 0; i < 8; ++i) client.getReply(bodies);
  }
  for (int i = 0; i < 8; ++i) client.getReply(bodies, 10000);
  EXPECT_EQ(bodies, "abcdefghijklmnop");
  EXPECT_EQ(errorOf([&] { client.getReply(bodies); }),
            "RWHttpNoPendingRepliesError: No replies expected from server");
}

TEST(RWHttpClient, SendsNothingAfterHalfARequest) {
  const Server server({"HTTP/1.1 204 X\r\n\r\n"});
  RWHttpClient client(new RWHttpSocketClientImp);
  client.connect("127.0.0.1", server.port, 10000);
  struct BrokenBody : RWHttpRequestBody {
    std::string_view read(std::size_t) override { throw RWxmsg("broken"); }
    std::int64_t getLength() const override { return length; }
    int length = -1;
  }* const broken = new BrokenBody;
  RWHttpRequest request("POST", "/");
  request.setMinorVersion(0);
  request.setBody(RWTHandle<RWHttpRequestBody>(broken));
  EXPECT_EQ(errorOf([&] { client.submit(request); }),
            "RWHttpRequestError: Transfer-Encoding: chunked only supported with HTTP/1.1 or higher "
            "requests.");
  EXPECT_TRUE(client.submit(kGet)) << "refused after a request of which nothing was sent";
  RWCString body;
  EXPECT_EQ(client.getReply(body).getStatusCode(), 204);
  broken->length = 5;
  EXPECT_EQ(errorOf([&] { client.submit(request); }), "broken");
  EXPECT_EQ(errorOf([&] { client.submit(kGet); }),
            "RWHttpConnectionError: Connection lost or not established");
}

TEST(RWHttpClient, HasNoSocketAfterARefusal) {
  const RWWinsockStartup winsock;
  RWHttpClient client(new RWHttpSocketClientImp);
  RWSocket bound;
  bound.bind(RWInetAddr("127.0.0.1:0"));
  const RWCString name = bound.text();
  const auto port = static_cast<std::uint32_t>(std::stoul(name.substr(name.rfind(':') + 1)));
  EXPECT_EQ(errorOf([&] { client.connect("127.0.0.1", port, 5000); }),
            "Unexpected error condition on socket");
  EXPECT_FALSE(client.portal().socket().isValid());
  bound.close();
}

}  // namespace
}  // namespace orla
