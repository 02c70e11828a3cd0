#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include "cfnetwork/SocketConnector.h"
#include "foundation/Foundation.h"

// Ports that take connections, or do not, and what a connector makes of them.
namespace connecting {

using cfnetwork::Route;
using cfnetwork::SocketAddress;
using cfnetwork::SocketConnector;
using foundation::FileDescriptor;

inline SocketAddress addressOf(const std::string& host, std::uint16_t port = 0) {
  SocketAddress address;
  if (host.find(':') == std::string::npos) {
    auto* four = reinterpret_cast<sockaddr_in*>(&address.storage);
    four->sin_family = AF_INET;
    inet_pton(AF_INET, host.c_str(), &four->sin_addr);
    address.size = sizeof *four;
  } else {
    auto* six = reinterpret_cast<sockaddr_in6*>(&address.storage);
    six->sin6_family = AF_INET6;
    inet_pton(AF_INET6, host.c_str(), &six->sin6_addr);
    address.size = sizeof *six;
  }
  address.setPort(port);
  return address;
}

inline FileDescriptor socketFor(const SocketAddress& address) {
  return FileDescriptor(::socket(address.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

inline bool bindTo(const FileDescriptor& socket, const SocketAddress& address) {
  const int on = 1;
  setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  return ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address.storage), address.size) == 0;
}

// A port on one address of this host: one that takes connections, or one that swallows every request.
class Port {
 public:
  enum class Kind { Listening, Swallowing };

  explicit Port(const std::string& host, Kind kind = Kind::Listening, std::uint16_t port = 0)
      : listener_(socketFor(addressOf(host))) {
    if (!bindTo(listener_, addressOf(host, port))) throw std::runtime_error("no port");
    ::listen(listener_.get(), kind == Kind::Listening ? 16 : 0);
    if (kind == Kind::Swallowing) fill();
  }

  SocketAddress address() const { return SocketAddress::localOf(listener_.get()); }
  std::uint16_t number() const { return address().port(); }
  bool hasConnection() const {
    pollfd waiting{listener_.get(), POLLIN, 0};
    return ::poll(&waiting, 1, 0) == 1;
  }
  // Makes a waiting accept() fail.
  void shutDown() const { ::shutdown(listener_.get(), SHUT_RDWR); }
  FileDescriptor accept() const { return FileDescriptor(::accept(listener_.get(), nullptr, nullptr)); }

 private:
  // The system drops requests once the queue is full. That a request is not answered does not show it: the machine may
  // be busy.
  void fill() {
    const SocketAddress target = address();
    while (!isFull()) {
      fillers_.push_back(FileDescriptor(::socket(target.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK, 0)));
      ::connect(fillers_.back().get(), reinterpret_cast<const sockaddr*>(&target.storage), target.size);
      pollfd waiting{fillers_.back().get(), POLLOUT, 0};
      ::poll(&waiting, 1, 100);
    }
  }

  // Of a listening socket, these two are the length of its queue and the longest that it may have.
  bool isFull() const {
    tcp_info info{};
    socklen_t size = sizeof info;
    if (getsockopt(listener_.get(), IPPROTO_TCP, TCP_INFO, &info, &size) != 0) throw std::runtime_error("no queue");
    return info.tcpi_unacked > info.tcpi_sacked;
  }

  FileDescriptor listener_;
  std::vector<FileDescriptor> fillers_;
};

// A port that refuses connections for as long as this exists.
class RefusingPort {
 public:
  explicit RefusingPort(const std::string& host) : socket_(socketFor(addressOf(host))) {
    if (!bindTo(socket_, addressOf(host))) throw std::runtime_error("no port");
  }
  SocketAddress address() const { return SocketAddress::localOf(socket_.get()); }

 private:
  FileDescriptor socket_;
};

class SocketConnectorTest : public testing::Test {
 protected:
  void connectToHost(const std::string& host, std::uint16_t port, NSTimeInterval limit = 30, const Route& route = {}) {
    connector = SocketConnector::connectToHost(NSRunLoop::currentRunLoop(), host, port, route, limit, completion());
    EXPECT_EQ(completions, 0) << "nothing is told from inside the call";
  }
  void connectToAddress(const SocketAddress& address, NSTimeInterval limit = 30) {
    connector = SocketConnector::connectToAddress(NSRunLoop::currentRunLoop(), address, limit, completion());
    EXPECT_EQ(completions, 0) << "nothing is told from inside the call";
  }
  void wait() {
    for (int turn = 0; turn < 600 && completions == 0; ++turn) turnOnce();
    ASSERT_EQ(completions, 1);
    for (int turn = 0; turn < 3; ++turn) turnOnce();
    EXPECT_EQ(completions, 1) << "told more than once";
  }
  static void turnOnce() {
    NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.1));
  }
  std::string peer() const {
    return result.descriptor ? SocketAddress::peerOf(result.descriptor.get()).unmapped().host() : "none";
  }
  bool failedWith(const Ref<NSString>& domain, NSInteger code) const {
    return !result.descriptor && result.error && NSEqualObjects(result.error->domain(), domain) &&
           result.error->code() == code;
  }
  // The connector may be destroyed by its completion.
  SocketConnector::Completion completion() {
    return [this](SocketConnector::Result told) {
      ++completions;
      result = std::move(told);
      connector.reset();
    };
  }

  std::unique_ptr<SocketConnector> connector;
  SocketConnector::Result result;
  int completions = 0;
};

}  // namespace connecting
