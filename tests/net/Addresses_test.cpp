// Texts and raw addresses of hosts and services, and the registry of address families.
#include "NetTest.h"
#include "net/RWNetErrors.h"
#include "net/RWSockAddrFactory.h"

namespace orla {

using AddressesTest = NetTest;

TEST_F(AddressesTest, AreReadFromTexts) {
  const RWSockAddrFactory& registry = RWSockAddrFactory::instance();
  const char* const kCases[][2] = {
      {" INET : www :: 080 ", "inet:stream:www:80"},
      {"inet:http", "inet:stream:ANY:http"},
      {" INET:dgram:10.0.0.1:53", "inet:dgram:10.0.0.1:53"},
      {"inet:www(web,(w3))(10.0.0.1):65535", "inet:stream:www:65535"},
      {" inet:x:y:z:w ", "RWSockBadAddressFormatError: ' inet:x:y:z:w ' cannot be parsed"},
      {"inet:bogus:www:80", "RWSockBadAddressFormatError: 'bogus' cannot be parsed"},
      {"inet:www:65536", "RWInetServiceNotFoundError: No such service '65536'"},
      {"inet:www:4294967376", "RWInetServiceNotFoundError: No such service '4294967376'"},
      {"Www:80", "RWNetNoFactoryRegisteredError: no factory for family 'Www'"}};
  for (const auto& [text, expected] : kCases) {
    RWCString result;
    const RWCString error =
        errorOf([&, &address = text] { result = registry.makeFromText(address).text(); });
    EXPECT_EQ(result.empty() ? error : result, expected) << text;
  }
  EXPECT_EQ(RWInetAddr("www:80").text(), "inet:stream:www:80");
  EXPECT_THROW(RWInetServicePort(65536), RWExternalErr);
}

TEST_F(AddressesTest, AreReadFromRawAddressesOfRegisteredFamilies) {
  const struct {
    unsigned char family;
    int length;
    const char* expected;
  } kCases[] = {
      {AF_INET, 16, "inet:dgram:192.168.1.2:8080"},
      {77, 16, "RWNetNoFactoryRegisteredError: no factory for family 77"},
      {AF_INET, 15, "RWSockBadAddressFormatError: 'raw address of 15 bytes' cannot be parsed"},
      {AF_INET, 1, "RWSockBadAddressFormatError: 'raw address of 1 bytes' cannot be parsed"},
      {AF_INET, -1, "RWSockBadAddressFormatError: 'raw address of -1 bytes' cannot be parsed"}};
  for (const auto& [family, length, expected] : kCases) {
    RWRawSockAddr raw = RWInetAddr("192.168.1.2:8080").raw();
    raw.bytes[0] = family;
    raw.length = length;
    RWCString result;
    const RWCString error =
        errorOf([&] { result = RWSockAddrFactory::instance().makeFromRaw(raw, 2).text(); });
    EXPECT_EQ(result.empty() ? error : result, expected);
  }
}

TEST_F(AddressesTest, HaveOneFactoryForAFamily) {
  RWSockAddrFactory registry;
  const RWInetAddrFactory first(registry);
  registry.registerFactory("INET", first);
  const RWCString refused = "RWNetAlreadyRegisteredError: already registered different factory for";
  EXPECT_EQ(errorOf([&] { const RWInetAddrFactory second(registry); }), refused + " family 'inet'");
  EXPECT_EQ(errorOf([&] { registry.registerFactory(2, registry); }), refused + " family 2");
  EXPECT_EQ(&registry.factory("Inet"), &first);
}

TEST_F(AddressesTest, HostsAndServicesAreReadOrLookedUp) {
  EXPECT_EQ(RWInetHost(" 10.1.2.3 (server)").address(), htonl(0x0A010203));
  EXPECT_EQ(RWInetHost("255.255.255.255").address(), 0xFFFFFFFF);
  for (const RWInetHost& any : {RWInetHost("any"), RWInetHost("0.0.0.0")}) {
    EXPECT_EQ(any.address(), 0U);
    EXPECT_TRUE(any.aliases().empty());
  }
  const RWInetHost local("LocalHost");
  EXPECT_EQ(local.address(), htonl(INADDR_LOOPBACK));
  EXPECT_EQ(local.name(), "LocalHost") << "the official name replaced the given one";
  EXPECT_EQ(normalizedAddressText(local.text()), "LocalHost") << "the rest is not a comment";
  EXPECT_EQ(RWInetServicePort("http").number(), 80);
  EXPECT_EQ(RWInetServicePort(80).name(), "http");
  const RWInetHost missing("no such host");
  EXPECT_THROW(missing.address(), RWExternalErr);
  WSASetLastError(12345);  // A second lookup would set another code.
  EXPECT_THROW(missing.aliases(), RWExternalErr);
  EXPECT_EQ(WSAGetLastError(), 12345);
}

}  // namespace orla
