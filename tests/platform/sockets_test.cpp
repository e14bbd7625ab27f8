#include <thread>

#include "SocketTest.h"

namespace orla {
namespace {

TEST_F(ConnectedTest, TellsWhatWaitsAndWhoShutDown) {
  EXPECT_EQ(send(client_, "question", 8, 0), 8);
  EXPECT_EQ(receive(server_, MSG_PEEK), "question");
  u_long waiting = 0;
  EXPECT_TRUE(ioctlsocket(server_, FIONREAD, &waiting) == 0 && waiting == 8);
  EXPECT_EQ(shutdown(server_, 1), 0);
  EXPECT_EQ(codeOf(send(server_, "more", 4, 0)), WSAESHUTDOWN);
}

TEST_F(ConnectedTest, SaysTimedOutWhereItWaitsAndWouldBlockWhereItDoesNot) {
  client_.setOption(SOL_SOCKET, SO_RCVTIMEO, 50);
  client_.setOption(SOL_SOCKET, SO_SNDTIMEO, 50);
  EXPECT_EQ(receive(client_), "10060");
  EXPECT_EQ(sendUntilItFails(client_), WSAETIMEDOUT);
  client_.setNonBlocking();
  EXPECT_EQ(receive(client_), "10035");
  EXPECT_EQ(sendUntilItFails(client_), WSAEWOULDBLOCK);
  listener_.setNonBlocking();
  EXPECT_EQ(accept(listener_, nullptr, nullptr), INVALID_SOCKET);
  EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
  const Socket other;
  ASSERT_EQ(connectTo(other, addressOf(listener_)), 0);
  EXPECT_EQ(receive(Socket(accept(listener_, nullptr, nullptr))), "10035") << "inherits the mode";
}

// A process that the failing send raised a signal in would not live to see the code.
TEST_F(ConnectedTest, SendFailsOnceThePeerHasReset) {
  server_.setOption(SOL_SOCKET, SO_LINGER, 1);  // On, for 0 seconds.
  server_.close();
  receive(client_);
  const int code = sendUntilItFails(client_);
  EXPECT_TRUE(code == WSAECONNRESET || code == WSAECONNABORTED) << code;
}

TEST_F(ConnectedTest, FailuresHaveTheirCodes) {
  const Socket idle, none(INVALID_SOCKET);
  sockaddr_in address = loopback(1);
  auto* const buffer = reinterpret_cast<sockaddr*>(&address);
  int tooShort = 15;
  u_long argument = 0;
  EXPECT_EQ(codeOf(getsockname(client_, buffer, &tooShort)), WSAEFAULT);
  EXPECT_EQ(bindTo(idle, addressOf(listener_)), WSAEADDRINUSE);
  EXPECT_EQ(codeOf(listen(idle, 5)), WSAEINVAL);
  EXPECT_EQ(codeOf(static_cast<int>(socket(AF_INET, 77, 0))), WSAESOCKTNOSUPPORT);
  EXPECT_EQ(codeOf(setsockopt(idle, SOL_SOCKET, SO_SNDBUF, nullptr, 4)), WSAEFAULT);
  EXPECT_EQ(codeOf(closesocket(none)), WSAENOTSOCK);
  EXPECT_EQ(codeOf(listen(none, 1)), WSAENOTSOCK);
  EXPECT_EQ(codeOf(ioctlsocket(none, FIONREAD, &argument)), WSAENOTSOCK);
}

TEST_F(ConnectedTest, OptionsGiveBackWhatWasSet) {
  const std::pair<int, int> rows[] = {
      {SO_RCVTIMEO, 300000}, {SO_SNDTIMEO, 1500}, {SO_KEEPALIVE, 1},        {SO_SNDBUF, 32768},
      {SO_RCVBUF, 32768},    {SO_REUSEADDR, 1},   {SO_LINGER, 7 << 16 | 1},  // For 7 s.
  };
  for (const auto& [name, value] : rows) {
    client_.setOption(SOL_SOCKET, name, value);
    EXPECT_EQ(client_.option(SOL_SOCKET, name), value) << std::hex << name;
  }
}

/// What select() leaves of one socket in its three sets: reading, writing, exceptional.
std::string ready(SOCKET socket, bool forReading, bool forWriting) {
  fd_set read{forReading, {socket}}, write{forWriting, {socket}}, except{1, {socket}};
  const int count = select(0, &read, &write, &except, nullptr);
  const auto found = std::string(read.fd_count, 'r') + std::string(write.fd_count, 'w') +
                     std::string(except.fd_count, 'e');
  return static_cast<int>(found.size()) == count ? found : "miscounted";
}

TEST_F(ConnectedTest, SelectTellsAFailedConnectFromABrokenConnection) {
  ASSERT_EQ(send(server_, "unread", 6, 0), 6);
  EXPECT_EQ(receive(client_, MSG_PEEK), "unread");
  client_.close();
  EXPECT_EQ(ready(server_, true, false), "r");
  const Socket good, bad;
  const sockaddr_in target = addressOf(listener_);
  good.setNonBlocking(), bad.setNonBlocking();
  EXPECT_EQ(connectTo(good, target), WSAEWOULDBLOCK);
  EXPECT_EQ(ready(good, false, true), "w");
  EXPECT_EQ(ready(listener_, true, true), "r");
  listener_.close();
  EXPECT_EQ(connectTo(bad, target), WSAEWOULDBLOCK);
  EXPECT_EQ(ready(bad, false, true), "e");
  EXPECT_EQ(bad.option(SOL_SOCKET, SO_ERROR), WSAECONNREFUSED) << "select left the reason";
}

TEST_F(SocketTest, LookUpsAnswerInStorageOfTheCallingThreadOrSayWhyNot) {
  const hostent* const mine = gethostbyname("127.0.0.1");
  const char* const text = inet_ntoa(loopback(0).sin_addr);
  std::thread([&] {
    EXPECT_EQ(gethostbyname("127.0.0.2")->h_addr_list[0][3], 2);
    EXPECT_STREQ(inet_ntoa(sockaddr_in{}.sin_addr), "0.0.0.0");
  }).join();
  EXPECT_EQ(mine->h_addr_list[0][3], 1);
  EXPECT_STREQ(text, "127.0.0.1");
  EXPECT_EQ(gethostbyname("no such host"), nullptr);
  EXPECT_TRUE(WSAGetLastError() >= WSAHOST_NOT_FOUND && WSAGetLastError() <= WSANO_DATA);
  EXPECT_EQ(getservbyname("no such service", nullptr), nullptr);
  EXPECT_EQ(WSAGetLastError(), WSANO_DATA);
  EXPECT_STREQ(getservbyport(htons(80), nullptr)->s_name, "http");
  EXPECT_EQ(inet_addr("127.1"), htonl(INADDR_LOOPBACK));
  for (const char* none : {"256.1.1.1", "1.2.3.4.5", "host", ""})
    EXPECT_EQ(inet_addr(none), INADDR_NONE) << none;
}

}  // namespace
}  // namespace orla
