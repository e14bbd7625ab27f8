#include "PlatformTest.h"

namespace orla {
namespace {

TEST_F(SocketTest, SaysThatItWouldBlockAndHandsThatOn) {
  client_.setNonBlocking();
  EXPECT_EQ(sendUntilItFails(client_), WSAEWOULDBLOCK);
  listener_.setNonBlocking();
  const Socket other;
  ASSERT_EQ(connectTo(other, address_), 0);
  EXPECT_EQ(receive(Socket(accept(listener_, nullptr, nullptr))), "10035") << "inherits the mode";
}

TEST_F(SocketTest, FailuresHaveTheirCodes) {
  const Socket idle;
  EXPECT_EQ(codeOf(listen(idle, 5)), WSAEINVAL);
  EXPECT_EQ(codeOf(setsockopt(idle, SOL_SOCKET, SO_SNDBUF, nullptr, 4)), WSAEFAULT);
  // A process that the failing send raised a signal in would not live to see the code.
  EXPECT_EQ(shutdown(server_, 1), 0);
  EXPECT_EQ(codeOf(send(server_, "more", 4, 0)), WSAESHUTDOWN);
}

TEST_F(SocketTest, OptionsGiveBackWhatWasSet) {
  for (const auto& [name, value] : {std::pair{SO_RCVTIMEO, 300000},
                                    {SO_SNDTIMEO, 1500},
                                    {SO_SNDBUF, 32768},
                                    {SO_LINGER, 7 << 16 | 1}}) {
    client_.setOption(name, value);
    EXPECT_EQ(client_.option(name), value) << std::hex << name;
  }
}

TEST_F(SocketTest, SelectTellsAFailedConnectFromABrokenConnection) {
  ASSERT_EQ(send(server_, "unread", 6, 0), 6);
  EXPECT_EQ(receive(client_, MSG_PEEK), "unread");
  u_long waiting = 0;
  EXPECT_TRUE(ioctlsocket(client_, FIONREAD, &waiting) == 0 && waiting == 6);
  client_.close();
  fd_set read{1, {server_}}, broken = read;
  EXPECT_EQ(select(0, &read, nullptr, &broken, nullptr), 1);
  EXPECT_EQ(read.fd_count, 1U);
  listener_.close();
  const Socket bad;
  bad.setNonBlocking();
  EXPECT_EQ(connectTo(bad, address_), WSAEWOULDBLOCK);
  fd_set write{1, {bad}}, failed = write;
  EXPECT_EQ(select(0, nullptr, &write, &failed, nullptr), 1);
  EXPECT_EQ(failed.fd_count, 1U);
  EXPECT_EQ(bad.option(SO_ERROR), WSAECONNREFUSED) << "select left the reason";
}

TEST_F(SocketTest, LookUpsAnswerInStorageOfTheCallingThread) {
  const hostent* const mine = gethostbyname("127.0.0.1");
  const char* const text = inet_ntoa(address_.sin_addr);
  elsewhere([] {
    EXPECT_EQ(gethostbyname("127.0.0.2")->h_addr_list[0][3], 2);
    EXPECT_STREQ(inet_ntoa(in_addr{}), "0.0.0.0");
  });
  EXPECT_EQ(mine->h_addr_list[0][3], 1);
  EXPECT_STREQ(text, "127.0.0.1");
  for (const char* none : {"256.1.1.1", "1.2.3.4.5", "host", ""})
    EXPECT_EQ(inet_addr(none), INADDR_NONE) << none;
}

}  // namespace
}  // namespace orla
