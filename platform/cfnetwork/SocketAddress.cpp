#include "cfnetwork/SocketAddress.h"

#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>

inline namespace telvo {

namespace cfnetwork {

SocketAddress SocketAddress::peerOf(int descriptor) {
  SocketAddress address;
  address.size = sizeof address.storage;
  if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&address.storage), &address.size) != 0) address.size = 0;
  return address;
}

SocketAddress SocketAddress::localOf(int descriptor) {
  SocketAddress address;
  address.size = sizeof address.storage;
  if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&address.storage), &address.size) != 0) address.size = 0;
  return address;
}

SocketAddress SocketAddress::unmapped() const {
  const auto* six = reinterpret_cast<const sockaddr_in6*>(&storage);
  if (!isIPv6() || !IN6_IS_ADDR_V4MAPPED(&six->sin6_addr)) return *this;
  SocketAddress address;
  auto* four = reinterpret_cast<sockaddr_in*>(&address.storage);
  four->sin_family = AF_INET;
  four->sin_port = six->sin6_port;
  std::memcpy(&four->sin_addr, six->sin6_addr.s6_addr + 12, sizeof four->sin_addr);
  address.size = sizeof(sockaddr_in);
  return address;
}

void SocketAddress::setPort(std::uint16_t port) {
  if (isIPv6()) {
    reinterpret_cast<sockaddr_in6*>(&storage)->sin6_port = htons(port);
  } else {
    reinterpret_cast<sockaddr_in*>(&storage)->sin_port = htons(port);
  }
}

std::uint16_t SocketAddress::port() const {
  return ntohs(isIPv6() ? reinterpret_cast<const sockaddr_in6*>(&storage)->sin6_port
                        : reinterpret_cast<const sockaddr_in*>(&storage)->sin_port);
}

std::string SocketAddress::host() const {
  char text[INET6_ADDRSTRLEN] = {};
  const void* bytes = isIPv6() ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6*>(&storage)->sin6_addr)
                               : &reinterpret_cast<const sockaddr_in*>(&storage)->sin_addr;
  return inet_ntop(storage.ss_family, bytes, text, sizeof text) ? text : "";
}

bool SocketAddress::isLoopback() const {
  if (isIPv6()) {
    const auto& six = reinterpret_cast<const sockaddr_in6&>(storage).sin6_addr;
    return IN6_IS_ADDR_LOOPBACK(&six) || (IN6_IS_ADDR_V4MAPPED(&six) && unmapped().isLoopback());
  }
  constexpr unsigned networkShift = 24;
  const auto& four = reinterpret_cast<const sockaddr_in&>(storage);
  return storage.ss_family == AF_INET && ntohl(four.sin_addr.s_addr) >> networkShift == IN_LOOPBACKNET;
}

bool SocketAddress::isSameHost(const SocketAddress& other) const {
  return unmapped().host() == other.unmapped().host();
}

}  // namespace cfnetwork

}  // namespace telvo
