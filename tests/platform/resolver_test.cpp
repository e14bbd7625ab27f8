#include <cstring>
#include <future>
#include <string>
#include <thread>

#include "SocketTest.h"

namespace orla {
namespace {

u_long firstAddress(const hostent* host) {
  u_long address = 0;
  if (host != nullptr && host->h_length == 4) std::memcpy(&address, host->h_addr_list[0], 4);
  return address;
}

std::string textOf(u_long address) {
  in_addr wrapped;
  std::memcpy(&wrapped, &address, sizeof address);
  return inet_ntoa(wrapped);
}

using ResolverTest = SocketTest;

TEST_F(ResolverTest, FindsNamesAndDottedAddresses) {
  for (const char* name : {"127.0.0.1", "localhost"}) {
    const hostent* host = gethostbyname(name);
    ASSERT_NE(host, nullptr) << name;
    EXPECT_EQ(textOf(firstAddress(host)), "127.0.0.1") << name;
    EXPECT_EQ(host->h_addrtype, AF_INET);
    EXPECT_NE(host->h_aliases, nullptr);
  }
  EXPECT_EQ(textOf(firstAddress(gethostbyname("10.20.30.40"))), "10.20.30.40");
  const u_long loopback = htonl(INADDR_LOOPBACK);
  EXPECT_NE(gethostbyaddr(reinterpret_cast<const char*>(&loopback), 4, AF_INET), nullptr);
}

TEST_F(ResolverTest, ReportsAnUnknownName) {
  WSASetLastError(0);
  EXPECT_EQ(gethostbyname("no such host"), nullptr);
  EXPECT_GE(WSAGetLastError(), WSAHOST_NOT_FOUND);
  EXPECT_LE(WSAGetLastError(), WSANO_DATA);
  WSASetLastError(0);
  EXPECT_EQ(getservbyname("no such service", nullptr), nullptr);
  EXPECT_EQ(WSAGetLastError(), WSANO_DATA);
}

TEST_F(ResolverTest, FindsServicesOfAnyOrOneProtocol) {
  for (const char* protocol : {static_cast<const char*>(nullptr), "tcp"}) {
    const servent* byName = getservbyname("http", protocol);
    ASSERT_NE(byName, nullptr);
    EXPECT_EQ(ntohs(static_cast<u_short>(byName->s_port)), 80);
    const servent* byPort = getservbyport(htons(80), protocol);
    ASSERT_NE(byPort, nullptr);
    EXPECT_STREQ(byPort->s_name, "http");
    EXPECT_STREQ(byPort->s_proto, "tcp");
  }
}

TEST_F(ResolverTest, AnswersLieInStorageOfTheCallingThread) {
  const hostent* mine = gethostbyname("127.0.0.1");
  ASSERT_NE(mine, nullptr);
  char* const myText = inet_ntoa(in_addr{});
  std::promise<void> looked, checked;
  std::thread other([&] {
    const hostent* theirs = gethostbyname("127.0.0.2");
    char* const theirText = inet_ntoa(in_addr{});
    looked.set_value();
    checked.get_future().wait();
    EXPECT_NE(theirs, mine);
    EXPECT_NE(theirText, myText);
    EXPECT_EQ(textOf(firstAddress(theirs)), "127.0.0.2");
  });
  looked.get_future().wait();
  EXPECT_EQ(textOf(firstAddress(mine)), "127.0.0.1");
  EXPECT_NE(gethostbyname("127.0.0.3"), nullptr);
  checked.set_value();
  other.join();
}

TEST_F(ResolverTest, TellsThisHostsNameOrThatItDoesNotFit) {
  char name[257] = {};
  EXPECT_EQ(gethostname(name, sizeof name), 0);
  EXPECT_NE(std::strlen(name), 0U);
  EXPECT_EQ(gethostname(name, 1), SOCKET_ERROR);
  EXPECT_EQ(WSAGetLastError(), WSAEFAULT);
}

TEST(InternetAddress, ReadsAndWritesTheDottedForm) {
  const struct {
    const char* text;
    u_long address;  // Host byte order.
    const char* written;
  } rows[] = {
      {"127.0.0.1", 0x7F000001, "127.0.0.1"},
      {"1.2.3.4", 0x01020304, "1.2.3.4"},
      {"127.1", 0x7F000001, "127.0.0.1"},
      {"0x7F.0.0.010", 0x7F000008, "127.0.0.8"},
      {"0.0.0.0", 0, "0.0.0.0"},
      {"255.255.255.255", 0xFFFFFFFF, "255.255.255.255"},
      {"256.1.1.1", INADDR_NONE, nullptr},
      {"1.2.3.4.5", INADDR_NONE, nullptr},
      {"1.2.3.x", INADDR_NONE, nullptr},
      {"host", INADDR_NONE, nullptr},
      {"", INADDR_NONE, nullptr},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ntohl(inet_addr(row.text)), row.address) << row.text;
    if (row.written != nullptr) {
      EXPECT_EQ(textOf(inet_addr(row.text)), row.written);
    }
  }
}

}  // namespace
}  // namespace orla
