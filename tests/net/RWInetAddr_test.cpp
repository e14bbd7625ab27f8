#include "net/RWInetAddr.h"

#include "NetTest.h"

namespace orla {
namespace {

using RWInetAddrTest = NetTest;

TEST_F(RWInetAddrTest, ReadsAddressTexts) {
  const struct {
    const char* text;
    const char* readsAs;
  } kCases[] = {{"inet:www:80", "inet:stream:www:80"},
                {"www 80", "inet:stream:www:80"},
                {" INET : www :: 080 ", "inet:stream:www:80"},
                {"Stream:www:80", "inet:stream:www:80"},
                {"rdm:www:80", "inet:rdm:www:80"},
                {"inet:seqpacket:www:80", "inet:seqpacket:www:80"},
                {"80", "inet:stream:ANY:80"},
                {"any:80", "inet:stream:ANY:80"},
                {"inet:http", "inet:stream:ANY:http"},
                {"www(web,w3)(10.0.0.1):65535", "inet:stream:www:65535"}};
  for (const auto& c : kCases) {
    EXPECT_EQ(RWInetAddr(c.text).text(), c.readsAs) << c.text;
    EXPECT_EQ(RWInetAddr(c.readsAs).text(), c.readsAs);
  }
}

TEST_F(RWInetAddrTest, RefusesTexts) {
  const struct {
    const char* text;
    const char* error;
  } kAddresses[] = {
      {"x:y:z:w", "RWSockBadAddressFormatError: 'x:y:z:w' cannot be parsed"},
      {" inet:x:y:z:w ", "RWSockBadAddressFormatError: ' inet:x:y:z:w ' cannot be parsed"},
      {"", "RWSockBadAddressFormatError: '' cannot be parsed"},
      {"inet:", "RWSockBadAddressFormatError: 'inet:' cannot be parsed"},
      {"bogus:www:80", "RWSockBadAddressFormatError: 'bogus' cannot be parsed"},
      {"www:65536", "RWInetServiceNotFoundError: No such service '65536'"},
      {"www:4294967376", "RWInetServiceNotFoundError: No such service '4294967376'"},
      {"127.0.0.1:no-such", "RWInetServiceNotFoundError: No such service 'no-such'"}};
  for (const auto& c : kAddresses) {
    EXPECT_EQ(raisedBy([&] { RWInetAddr(RWCString(c.text)).raw(); }), c.error);
  }
  for (const char* empty : {"", " : ", "(ANY)"}) {
    EXPECT_EQ(raisedBy([&] { RWInetHost{RWCString(empty)}; }),
              "RWInetHostNotFoundError: No such host ''");
    EXPECT_EQ(raisedBy([&] { RWInetServicePort{RWCString(empty)}; }),
              "RWInetServiceNotFoundError: No such service ''");
  }
  EXPECT_THROW(RWInetServicePort(65536), RWExternalErr);
}

TEST_F(RWInetAddrTest, ReadsHostAddressesWithoutLookUp) {
  EXPECT_EQ(RWInetHost(" 10.1.2.3 (server)").address(), htonl(0x0A010203));
  const RWInetHost broadcast("255.255.255.255");
  EXPECT_EQ(broadcast.address(), 0xFFFFFFFF);
  EXPECT_EQ(broadcast.text(), "255.255.255.255");  // No look-up has added to it.
  EXPECT_EQ(RWInetHost(htonl(0x0A010203)).text(), "10.1.2.3");

  // Neither found nor, as the aliases tell, looked up in vain.
  for (const RWInetHost& any : {RWInetHost("any"), RWInetHost("0.0.0.0"), RWInetHost(0)}) {
    EXPECT_EQ(any.address(), 0u);
    EXPECT_EQ(raisedBy([&] { any.name(); }),
              "RWInetHostNotFoundError: No such host '" + any.text() + "'");
    EXPECT_TRUE(any.aliases().empty());
    EXPECT_TRUE(any.addresses().empty());
  }
}

TEST_F(RWInetAddrTest, RemembersFailedLookUp) {
  const RWInetHost host("no such host");
  const char* error = "RWInetHostNotFoundError: No such host 'no such host'";
  EXPECT_EQ(raisedBy([&] { host.address(); }), error);
  constexpr int kUntouched = 12345;  // Unlike what another failed look-up would leave.
  WSASetLastError(kUntouched);
  EXPECT_EQ(raisedBy([&] { host.address(); }), error);
  EXPECT_EQ(raisedBy([&] { host.aliases(); }), error);
  EXPECT_EQ(raisedBy([&] { host.addresses(); }), error);
  EXPECT_EQ(WSAGetLastError(), kUntouched);
}

TEST_F(RWInetAddrTest, LooksUpHostsAndServices) {
  const RWInetHost host("LocalHost");
  EXPECT_EQ(host.text(), "LocalHost");
  EXPECT_EQ(host.address(), htonl(INADDR_LOOPBACK));
  ASSERT_FALSE(host.addresses().empty());
  EXPECT_EQ(host.addresses()[0], host.address());
  EXPECT_EQ(host.name(), "LocalHost");  // As given, whatever the official name.
  EXPECT_EQ(normalizedAddressText(host.text()), "LocalHost");  // The rest of it is comments.
  EXPECT_NE(host.text().find("127.0.0.1"), RWCString::npos);
  char own[257] = {};
  ASSERT_EQ(gethostname(own, sizeof own), 0);
  EXPECT_EQ(RWInetHost::me().name(), own);

  const RWInetServicePort http("http");
  EXPECT_EQ(http.text(), "http");
  EXPECT_EQ(http.number(), 80);
  EXPECT_EQ(RWInetServicePort(80).name(), "http");
  EXPECT_EQ(RWInetServicePort(64999).name(), "");
}

}  // namespace
}  // namespace orla
