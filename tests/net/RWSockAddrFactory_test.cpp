#include "net/RWSockAddrFactory.h"

#include <gtest/gtest.h>

#include "net/RWInetAddr.h"
#include "net/RWNetErrors.h"
#include "support/ErrorOf.h"

namespace orla {

using test::errorOf;

TEST(RWSockAddrFactory, BuildsAddressesOfTheRegisteredFamilies) {
  const RWSockAddrFactory& registry = RWSockAddrFactory::instance();
  EXPECT_EQ(registry.makeFromText(" INET:dgram:10.0.0.1:53").text(), "inet:dgram:10.0.0.1:53");
  EXPECT_EQ(errorOf([&] { registry.makeFromText("Www:80"); }),
            "RWNetNoFactoryRegisteredError: no factory for family 'Www'");
  RWRawSockAddr raw = RWInetAddr("192.168.1.2:8080").raw();
  EXPECT_EQ(registry.makeFromRaw(raw, 2).text(), "inet:dgram:192.168.1.2:8080");
  raw.bytes[0] = 77;
  EXPECT_EQ(errorOf([&] { registry.makeFromRaw(raw); }),
            "RWNetNoFactoryRegisteredError: no factory for family 77");
}

TEST(RWSockAddrFactory, RefusesRawAddressesThatAreTooShort) {
  RWRawSockAddr raw = RWInetAddr("192.168.1.2:8080").raw();
  for (const int length : {-1, 1, 15}) {
    raw.length = length;
    EXPECT_EQ(errorOf([&] { RWSockAddrFactory::instance().makeFromRaw(raw); }),
              "RWSockBadAddressFormatError: 'raw address of " + std::to_string(length) +
                  " bytes' cannot be parsed");
  }
}

TEST(RWSockAddrFactory, RefusesASecondFactoryForAFamily) {
  RWSockAddrFactory registry;
  const RWInetAddrFactory first(registry);
  registry.registerFactory("INET", first);
  EXPECT_EQ(errorOf([&] { const RWInetAddrFactory second(registry); }),
            "RWNetAlreadyRegisteredError: already registered different factory for family 'inet'");
  EXPECT_EQ(errorOf([&] { registry.registerFactory(2, registry); }),
            "RWNetAlreadyRegisteredError: already registered different factory for family 2");
  EXPECT_EQ(&registry.factory("Inet"), &first);
}

}  // namespace orla
