#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include "cfnetwork/SocketConnector.h"
#include "foundation/files/FileIO.h"

// A SOCKS 5 proxy (RFC 1928) without a login, for hosts that are given as IPv4 addresses on this computer. It carries
// bytes and ends from one side to the other; whatever else happens to a side ends both.
class RelayingProxy {
 public:
  RelayingProxy() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_in address = loopback(0);
    ::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    ::listen(listener_.get(), 16);
    thread_ = std::thread([this] { serve(); });
  }
  RelayingProxy(const RelayingProxy&) = delete;
  RelayingProxy& operator=(const RelayingProxy&) = delete;
  // Ends the connections.
  ~RelayingProxy() {
    ::shutdown(listener_.get(), SHUT_RDWR);
    thread_.join();
    for (const FileDescriptor& client : clients_) ::shutdown(client.get(), SHUT_RDWR);
    for (std::thread& connection : connections_) connection.join();
  }

  std::string url() const {
    return "socks5://127.0.0.1:" + std::to_string(cfnetwork::SocketAddress::localOf(listener_.get()).port());
  }

 private:
  using FileDescriptor = foundation::FileDescriptor;

  static sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
  }

  void serve() {
    while (FileDescriptor client{::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)}) {
      connections_.emplace_back([descriptor = client.get()] { relay(descriptor); });
      clients_.push_back(std::move(client));
    }
  }

  static void relay(int client) {
    std::array<std::uint8_t, 262> bytes;
    if (::recv(client, bytes.data(), bytes.size(), 0) <= 0) return;
    ::send(client, "\5\0", 2, MSG_NOSIGNAL);
    // Version, command, a zero, the kind of address; the port stands at the end.
    const ssize_t size = ::recv(client, bytes.data(), bytes.size(), 0);
    if (size < 10) return;
    const auto end = bytes.begin() + size;
    const sockaddr_in address = loopback(static_cast<std::uint16_t>(*(end - 2) << 8U | *(end - 1)));
    const FileDescriptor server(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::connect(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return;
    ::send(client, "\5\0\0\1\0\0\0\0\0\0", 10, MSG_NOSIGNAL);
    std::array<pollfd, 2> sides{{{client, POLLIN, 0}, {server.get(), POLLIN, 0}}};
    while (sides[0].fd >= 0 || sides[1].fd >= 0) {
      ::poll(sides.data(), sides.size(), -1);
      if (!carry(sides[0], server.get()) || !carry(sides[1], client)) return;
    }
  }

  // What has come from a side goes to the other one, its end included. False when the connection is broken.
  static bool carry(pollfd& from, int to) {
    if (from.fd < 0 || from.revents == 0) return true;
    std::array<char, 16384> bytes;
    const ssize_t size = ::recv(from.fd, bytes.data(), bytes.size(), 0);
    if (size > 0) return ::send(to, bytes.data(), static_cast<std::size_t>(size), MSG_NOSIGNAL) == size;
    from.fd = -1;
    return size == 0 && ::shutdown(to, SHUT_WR) == 0;
  }

  FileDescriptor listener_;
  std::vector<FileDescriptor> clients_;
  std::vector<std::thread> connections_;
  std::thread thread_;
};
