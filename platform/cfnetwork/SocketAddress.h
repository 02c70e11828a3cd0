#pragma once

#include <cstdint>
#include <string>

#include <sys/socket.h>

inline namespace telvo {

namespace cfnetwork {

// The address of one end of a connection, IPv4 or IPv6.
struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t size = 0;

  static SocketAddress peerOf(int descriptor);
  static SocketAddress localOf(int descriptor);
  bool isIPv6() const { return storage.ss_family == AF_INET6; }
  // A v4 address in IPv6 clothes becomes plain IPv4; everything else stays.
  SocketAddress unmapped() const;
  void setPort(std::uint16_t port);
  std::uint16_t port() const;
  std::string host() const;  // as digits
  bool isLoopback() const;
  bool isSameHost(const SocketAddress& other) const;
};

}  // namespace cfnetwork

}  // namespace telvo
