#include "net/RWSockAddr.h"

#include "NetTest.h"

namespace orla {
namespace {

TEST(RWSockAddr, NormalizesTexts) {
  const struct {
    const char* text;
    const char* plain;
  } kCases[] = {{"  inet:www:80: ", "inet www 80"},
                {"www(alias,(other)):(x)80", "www 80"},
                {"((a)(b)c)d", "d"},
                {"a(b", "a(b"},
                {"a((b)c", "a(c"},
                {"a)b(c)", "a)b"},
                {"(all)", ""},
                {":::", ""}};
  for (const auto& c : kCases) EXPECT_EQ(normalizedAddressText(c.text), c.plain) << c.text;
}

TEST(RWSockAddrFactory, RegistersOneFactoryAFamily) {
  RWSockAddrFactory registry, other;
  EXPECT_EQ(raisedBy([&] { registry.factory("Inet"); }),
            "RWNetNoFactoryRegisteredError: no factory for family 'Inet'");
  const RWInetAddrFactory first(registry), second(other);
  registry.registerFactory("INET", first);
  registry.registerFactory(AF_INET, first);
  EXPECT_EQ(raisedBy([&] { registry.registerFactory("Inet", second); }),
            "RWNetAlreadyRegisteredError: already registered different factory for family 'Inet'");
  EXPECT_EQ(raisedBy([&] { registry.registerFactory(AF_INET, second); }),
            "RWNetAlreadyRegisteredError: already registered different factory for family 2");
  EXPECT_EQ(&registry.factory("Inet"), &first);
  EXPECT_EQ(&registry.factory(AF_INET), &first);
}

TEST(RWSockAddrFactory, MakesInetAddresses) {
  const RWSockAddrFactory& registry = RWSockAddrFactory::instance();
  EXPECT_EQ(registry.makeFromText(" INET:dgram:10.0.0.1:53").text(), "inet:dgram:10.0.0.1:53");
  EXPECT_EQ(raisedBy([&] { registry.makeFromText("www:80"); }),
            "RWNetNoFactoryRegisteredError: no factory for family 'www'");

  const RWCString raw = RWInetAddr("192.168.1.2:8080").raw();
  ASSERT_EQ(raw.size(), 16u);
  EXPECT_EQ(raw.substr(2, 6), RWCString("\x1F\x90\xC0\xA8\x01\x02", 6));  // Network byte order.
  const RWCString longer = raw + RWCString(241, '\xFF');
  EXPECT_EQ(registry.makeFromRaw(longer.data(), 257).text(), "inet:stream:192.168.1.2:8080");
  for (const int length : {-1, 0, 1, 2, 15}) {
    EXPECT_EQ(raisedBy([&] { registry.makeFromRaw(raw.data(), length); }),
              "RWSockBadAddressFormatError: 'raw address of " + std::to_string(length) +
                  " bytes' cannot be parsed");
  }
  const std::uint16_t unknownFamily = 77;
  EXPECT_EQ(raisedBy([&] { registry.makeFromRaw(&unknownFamily, 2); }),
            "RWNetNoFactoryRegisteredError: no factory for family 77");
  EXPECT_EQ(RWSockAddr().text(), "no address");
  EXPECT_THROW(RWSockAddr().raw(), RWInternalErr);
}

}  // namespace
}  // namespace orla
