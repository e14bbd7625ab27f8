// The values of winapi.h whose names the system's headers define as macros with other values. A source
// file that needs both includes this header before the system's.
#pragma once

#include "platform/winapi.h"

namespace orla::posix::winsock {

inline constexpr int kInternetFamily = AF_INET;
inline constexpr u_long kNoAddress = INADDR_NONE;
inline constexpr int kPeek = MSG_PEEK;

inline constexpr int kSocketLevel = SOL_SOCKET;
inline constexpr int kTcpLevel = IPPROTO_TCP;
inline constexpr int kNoDelay = TCP_NODELAY;
inline constexpr int kReuseAddress = SO_REUSEADDR;
inline constexpr int kKeepAlive = SO_KEEPALIVE;
inline constexpr int kBroadcast = SO_BROADCAST;
inline constexpr int kLinger = SO_LINGER;
inline constexpr int kSendBuffer = SO_SNDBUF;
inline constexpr int kReceiveBuffer = SO_RCVBUF;
inline constexpr int kSendTimeout = SO_SNDTIMEO;
inline constexpr int kReceiveTimeout = SO_RCVTIMEO;
inline constexpr int kError = SO_ERROR;
inline constexpr int kType = SO_TYPE;

inline constexpr long kNonBlocking = FIONBIO;
inline constexpr long kReadable = FIONREAD;

}  // namespace orla::posix::winsock
