#include "net/RWInetAddr.h"

#include "NetTest.h"

namespace orla {

TEST_F(NetTest, AddressesReadTexts) {
  const char* const kCases[][2] = {
      {" INET : www :: 080 ", "inet:stream:www:80"},
      {"inet:http", "inet:stream:ANY:http"},
      {"www(web,(w3))(10.0.0.1):65535", "inet:stream:www:65535"},
      {" inet:x:y:z:w ", "RWSockBadAddressFormatError: ' inet:x:y:z:w ' cannot be parsed"},
      {"bogus:www:80", "RWSockBadAddressFormatError: 'bogus' cannot be parsed"},
      {"www:65536", "RWInetServiceNotFoundError: No such service '65536'"},
      {"www:4294967376", "RWInetServiceNotFoundError: No such service '4294967376'"}};
  for (const auto& [text, expected] : kCases) {
    RWCString result;
    const RWCString error =
        errorOf([&, &address = text] { result = RWInetAddr(RWCString(address)).text(); });
    EXPECT_EQ(result.empty() ? error : result, expected) << text;
  }
  EXPECT_THROW(RWInetServicePort(65536), RWExternalErr);
}

TEST_F(NetTest, HostsReadAddressesAndNames) {
  EXPECT_EQ(RWInetHost(" 10.1.2.3 (server)").address(), htonl(0x0A010203));
  EXPECT_EQ(RWInetHost("255.255.255.255").address(), 0xFFFFFFFF);
  for (const RWInetHost& any : {RWInetHost("any"), RWInetHost("0.0.0.0")}) {
    EXPECT_EQ(any.address(), 0U);
    EXPECT_TRUE(any.aliases().empty());
  }
}

TEST_F(NetTest, AFailedLookupIsNotRepeated) {
  const RWInetHost host("no such host");
  EXPECT_THROW(host.address(), RWExternalErr);
  WSASetLastError(12345);  // A second lookup would set another code.
  EXPECT_THROW(host.aliases(), RWExternalErr);
  EXPECT_EQ(WSAGetLastError(), 12345);
}

TEST_F(NetTest, HostsAndServicesAreLookedUp) {
  const RWInetHost local("LocalHost");
  EXPECT_EQ(local.address(), htonl(INADDR_LOOPBACK));
  EXPECT_EQ(local.name(), "LocalHost") << "the official name replaced the given one";
  EXPECT_EQ(normalizedAddressText(local.text()), "LocalHost") << "the rest is not a comment";
  EXPECT_EQ(RWInetServicePort("http").number(), 80);
  EXPECT_EQ(RWInetServicePort(80).name(), "http");
}

}  // namespace orla
