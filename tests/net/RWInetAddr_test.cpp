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
      {"www:4294967376", "RWInetServiceNotFoundError: No such service '4294967376'"}};
  for (const auto& c : kCases) {
    RWCString read;
    const RWCString error = errorOf([&] { read = RWInetAddr(RWCString(c[0])).text(); });
    EXPECT_EQ(read.empty() ? error : read, c[1]);
  }
  EXPECT_THROW(RWInetServicePort(65536), RWExternalErr);
}

TEST_F(NetTest, HostsAndServicesAreLookedUpAtMostOnce) {
  EXPECT_EQ(RWInetHost(" 10.1.2.3 (server)").address(), htonl(0x0A010203));
  EXPECT_EQ(RWInetHost("255.255.255.255").address(), 0xFFFFFFFF);
  for (const RWInetHost& any : {RWInetHost("any"), RWInetHost("0.0.0.0")})
    EXPECT_TRUE(any.address() == 0 && any.aliases().empty());
  const RWInetHost host("no such host");
  EXPECT_THROW(host.address(), RWExternalErr);
  WSASetLastError(12345);  // A second look-up would set another.
  EXPECT_THROW(host.aliases(), RWExternalErr);
  EXPECT_EQ(WSAGetLastError(), 12345);
  const RWInetHost local("LocalHost");
  EXPECT_EQ(local.address(), htonl(INADDR_LOOPBACK));
  EXPECT_EQ(local.name(), "LocalHost");  // As given, whatever the official name.
  EXPECT_EQ(normalizedAddressText(local.text()), "LocalHost");  // The rest of it is comments.
  EXPECT_TRUE(RWInetServicePort("http").number() == 80 && RWInetServicePort(80).name() == "http");
}

TEST(RWSockAddrFactory, MakesAddressesOfTheFamiliesItKnows) {
  const RWSockAddrFactory& registry = RWSockAddrFactory::instance();
  EXPECT_EQ(registry.makeFromText(" INET:dgram:10.0.0.1:53").text(), "inet:dgram:10.0.0.1:53");
  EXPECT_EQ(errorOf([&] { registry.makeFromText("Www:80"); }),
            "RWNetNoFactoryRegisteredError: no factory for family 'Www'");
  RWCString raw = RWInetAddr("192.168.1.2:8080").raw();
  for (const int length : {-1, 1, 15})
    EXPECT_THROW(registry.makeFromRaw(raw.data(), length), RWxmsg);
  raw[0] = 77;
  EXPECT_EQ(errorOf([&] { registry.makeFromRaw(raw.data(), 16); }),
            "RWNetNoFactoryRegisteredError: no factory for family 77");
}

}  // namespace orla
