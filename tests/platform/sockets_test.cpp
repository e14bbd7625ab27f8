#include "PlatformTest.h"

namespace orla {

TEST_F(SocketTest, FailuresHaveTheirCodes) {
  listener_.setNonBlocking();
  const Socket other, idle;
  ASSERT_EQ(connectFrom(other), 0);
  EXPECT_EQ(Socket(accept(listener_, nullptr, nullptr)).receive(), WSAEWOULDBLOCK) << "inherits";
  EXPECT_EQ(codeOf(listen(idle, 5)), WSAEINVAL);
  EXPECT_EQ(codeOf(setsockopt(idle, SOL_SOCKET, SO_SNDBUF, nullptr, 4)), WSAEFAULT);
  // A process that the failing send raised a signal in would not live to see the code.
  EXPECT_EQ(shutdown(server_, 1), 0);
  EXPECT_EQ(codeOf(send(server_, "more", 4, 0)), WSAESHUTDOWN);
}

TEST_F(SocketTest, SelectTellsAFailedConnectFromABrokenConnection) {
  ASSERT_EQ(send(server_, "unread", 6, 0), 6);
  fd_set filled{1, {client_}};
  EXPECT_EQ(select(0, &filled, nullptr, nullptr, nullptr), 1);
  client_.close();
  fd_set read{1, {server_}}, broken = read;
  EXPECT_EQ(select(0, &read, nullptr, &broken, nullptr), 1);
  EXPECT_EQ(read.fd_count, 1U);
  listener_.close();
  const Socket bad;
  bad.setNonBlocking();
  EXPECT_EQ(connectFrom(bad), WSAEWOULDBLOCK);
  fd_set write{1, {bad}}, failed = write;
  EXPECT_EQ(select(0, nullptr, &write, &failed, nullptr), 1);
  EXPECT_EQ(failed.fd_count, 1U);
  int error = 0, length = sizeof error;
  getsockopt(bad, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &length);
  EXPECT_EQ(error, WSAECONNREFUSED) << "select left the reason";
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
}

}  // namespace orla
