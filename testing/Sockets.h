#pragma once

#include <cstdint>
#include <string>

#include <sys/socket.h>

#include "foundation/files/FileIO.h"

// An IPv4 or IPv6 address with a port, as the system's functions take it.
struct Endpoint {
  Endpoint() = default;
  // The host is an address in digits.
  Endpoint(const std::string& host, std::uint16_t port);

  sockaddr* pointer() { return reinterpret_cast<sockaddr*>(&storage); }
  sa_family_t family() const { return storage.ss_family; }

  sockaddr_storage storage{};
  socklen_t size = sizeof(sockaddr_storage);
};

// The port that the system has given to a socket.
std::uint16_t portOf(const foundation::FileDescriptor& socket);

// A socket at a port of the system's choice, which refuses connections as long as nobody listens. With 0 the receive
// buffer has the system's size. Throws std::runtime_error when there is no port.
foundation::FileDescriptor boundSocket(const std::string& host, int receiveBuffer = 0);
foundation::FileDescriptor listeningSocket(const std::string& host, int receiveBuffer = 0);

// Has the peer see a reset instead of an end when the socket is closed.
void abortOnClose(const foundation::FileDescriptor& socket);
