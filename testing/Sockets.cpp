#include "testing/Sockets.h"

#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>

using foundation::FileDescriptor;

Endpoint::Endpoint(const std::string& host, std::uint16_t port) {
  if (host.find(':') != std::string::npos) {
    auto* six = reinterpret_cast<sockaddr_in6*>(&storage);
    six->sin6_family = AF_INET6;
    six->sin6_port = htons(port);
    inet_pton(AF_INET6, host.c_str(), &six->sin6_addr);
    size = sizeof(sockaddr_in6);
  } else {
    auto* four = reinterpret_cast<sockaddr_in*>(&storage);
    four->sin_family = AF_INET;
    four->sin_port = htons(port);
    inet_pton(AF_INET, host.c_str(), &four->sin_addr);
    size = sizeof(sockaddr_in);
  }
}

std::uint16_t portOf(const FileDescriptor& socket) {
  Endpoint address;
  getsockname(socket.get(), address.pointer(), &address.size);
  return ntohs(address.family() == AF_INET6 ? reinterpret_cast<sockaddr_in6*>(&address.storage)->sin6_port
                                            : reinterpret_cast<sockaddr_in*>(&address.storage)->sin_port);
}

FileDescriptor boundSocket(const std::string& host, int receiveBuffer) {
  Endpoint address(host, 0);
  FileDescriptor descriptor(::socket(address.family(), SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (receiveBuffer > 0) setsockopt(descriptor.get(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
  if (::bind(descriptor.get(), address.pointer(), address.size) != 0) throw std::runtime_error("no port to bind");
  return descriptor;
}

FileDescriptor listeningSocket(const std::string& host, int receiveBuffer) {
  FileDescriptor descriptor = boundSocket(host, receiveBuffer);
  if (::listen(descriptor.get(), 64) != 0) throw std::runtime_error("no port to listen on");
  return descriptor;
}

void abortOnClose(const FileDescriptor& socket) {
  const linger now{1, 0};
  setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
}
