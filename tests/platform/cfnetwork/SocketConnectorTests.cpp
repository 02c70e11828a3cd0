#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "cfnetwork/SocketConnector.h"
#include "cfnetwork/SocketOptions.h"
#include "foundation/Foundation.h"

namespace {

using cfnetwork::Route;
using cfnetwork::SocketAddress;
using cfnetwork::SocketConnector;
using foundation::FileDescriptor;

SocketAddress addressOf(const std::string& host, std::uint16_t port = 0) {
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

FileDescriptor socketFor(const SocketAddress& address) {
  return FileDescriptor(::socket(address.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

bool bindTo(const FileDescriptor& socket, const SocketAddress& address) {
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

// Ports of the same number on two addresses. A number that is free on one may be taken on the other.
struct PortPair {
  std::unique_ptr<Port> first;
  std::unique_ptr<Port> second;

  static PortPair of(const std::string& firstHost, Port::Kind firstKind, const std::string& secondHost,
                     Port::Kind secondKind) {
    for (int attempt = 0; attempt < 100; ++attempt) {
      auto first = std::make_unique<Port>(firstHost, firstKind);
      try {
        auto second = std::make_unique<Port>(secondHost, secondKind, first->number());
        return {std::move(first), std::move(second)};
      } catch (const std::runtime_error&) {
        continue;
      }
    }
    throw std::runtime_error("no pair of ports");
  }
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

// A SOCKS 5 proxy without a login that grants or refuses what it is asked for and connects to nobody.
class ScriptedProxy {
 public:
  explicit ScriptedProxy(char answer)
      : thread_([this, answer] {
          const FileDescriptor client = port_.accept();
          std::array<char, 512> bytes;
          if (::recv(client.get(), bytes.data(), bytes.size(), 0) <= 0) return;
          ::send(client.get(), "\5\0", 2, MSG_NOSIGNAL);
          if (::recv(client.get(), bytes.data(), bytes.size(), 0) <= 0) return;
          const std::array<char, 10> reply{5, answer, 0, 1, 127, 0, 0, 1, 0, 21};
          ::send(client.get(), reply.data(), reply.size(), MSG_NOSIGNAL);
        }) {}
  ScriptedProxy(const ScriptedProxy&) = delete;
  ScriptedProxy& operator=(const ScriptedProxy&) = delete;
  ~ScriptedProxy() { port_.shutDown(); }

  Route route(std::vector<std::string> exceptions = {}) const {
    return {true, "socks5://127.0.0.1:" + std::to_string(port_.number()), std::move(exceptions)};
  }

 private:
  Port port_{"127.0.0.1"};
  std::jthread thread_;
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

// ---- To a host ----

TEST_F(SocketConnectorTest, ConnectsToAddressesOfBothFamilies) {
  for (const char* host : {"127.0.0.1", "::1"}) {
    const Port port(host);
    completions = 0;
    connectToHost(host, port.number());
    wait();
    EXPECT_EQ(peer(), host);
    EXPECT_FALSE(result.error);
    EXPECT_FALSE(result.throughProxy);
    EXPECT_TRUE(port.hasConnection());
  }
}

TEST_F(SocketConnectorTest, GivesASocketThatNeitherBlocksNorIsInherited) {
  const Port port("127.0.0.1");
  connectToHost("localhost", port.number());
  wait();
  EXPECT_TRUE(fcntl(result.descriptor.get(), F_GETFL) & O_NONBLOCK);
  EXPECT_TRUE(fcntl(result.descriptor.get(), F_GETFD) & FD_CLOEXEC);
}

// A name has the addresses of both families; one of them refuses.
TEST_F(SocketConnectorTest, TriesTheNextAddressWhenOneRefuses) {
  for (const char* host : {"127.0.0.1", "::1"}) {
    const Port port(host);
    completions = 0;
    connectToHost("localhost", port.number());
    wait();
    EXPECT_EQ(peer(), host);
  }
}

TEST_F(SocketConnectorTest, DoesNotWaitForAnAddressThatSwallowsEverything) {
  for (const auto& [silent, host] : {std::pair{"::1", "127.0.0.1"}, {"127.0.0.1", "::1"}}) {
    const auto ports = PortPair::of(silent, Port::Kind::Swallowing, host, Port::Kind::Listening);
    completions = 0;
    connectToHost("localhost", ports.first->number());
    wait();
    EXPECT_EQ(peer(), host);
  }
}

TEST_F(SocketConnectorTest, TellsThatAllAddressesRefuse) {
  const RefusingPort port("127.0.0.1");
  connectToHost("localhost", port.address().port());
  wait();
  EXPECT_TRUE(failedWith(NSPOSIXErrorDomain(), ECONNREFUSED));
}

TEST_F(SocketConnectorTest, TellsThatANameHasNoAddress) {
  for (const std::string& name : {std::string("a..b"), std::string(300, 'a'), std::string("::1:2:zz")}) {
    completions = 0;
    connectToHost(name, 21);
    wait();
    EXPECT_TRUE(failedWith(kCFErrorDomainCFNetwork(), kCFHostErrorHostNotFound)) << name;
    EXPECT_GT(result.error->localizedDescription()->length(), 0U);
  }
}

TEST_F(SocketConnectorTest, AHostThatSwallowsEverythingEndsAtTheLimit) {
  const Port hole("127.0.0.1", Port::Kind::Swallowing);
  connectToHost("127.0.0.1", hole.number(), 0.3);
  wait();
  EXPECT_TRUE(failedWith(kCFErrorDomainCFNetwork(), kCFURLErrorTimedOut));
}

TEST_F(SocketConnectorTest, TheLimitHoldsForAllAddressesTogether) {
  const auto ports = PortPair::of("127.0.0.1", Port::Kind::Swallowing, "::1", Port::Kind::Swallowing);
  connectToHost("localhost", ports.first->number(), 0.6);
  wait();
  EXPECT_TRUE(failedWith(kCFErrorDomainCFNetwork(), kCFURLErrorTimedOut));
}

TEST_F(SocketConnectorTest, GivenUpWhileConnectingItTellsNothing) {
  const Port hole("127.0.0.1", Port::Kind::Swallowing);
  connectToHost("127.0.0.1", hole.number(), 0.2);
  for (int turn = 0; turn < 2; ++turn) {
    NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), nil);
  }
  connector.reset();
  for (int turn = 0; turn < 5; ++turn) turnOnce();
  EXPECT_EQ(completions, 0);
}

TEST_F(SocketConnectorTest, GivenUpWhileResolvingItTellsNothing) {
  const Port port("127.0.0.1");
  for (const char* name : {"localhost", "a..b", "127.0.0.1"}) {
    connectToHost(name, port.number());
    connector.reset();
    for (int turn = 0; turn < 3; ++turn) turnOnce();
    EXPECT_EQ(completions, 0) << name;
  }
}

TEST_F(SocketConnectorTest, GivenUpAttemptsLeaveNoDescriptorsBehind) {
  const Port hole("127.0.0.1", Port::Kind::Swallowing);
  const auto openDescriptors = [] {
    const std::filesystem::directory_iterator folder("/proc/self/fd");
    return std::distance(begin(folder), end(folder));
  };
  const auto attempt = [&] {
    connectToHost("localhost", hole.number());
    for (int turn = 0; turn < 2; ++turn) turnOnce();
    connector.reset();
    for (int turn = 0; turn < 2; ++turn) turnOnce();
  };
  attempt();  // the first one also opens what stays, such as the resolver's
  const auto before = openDescriptors();
  for (int time = 0; time < 5; ++time) attempt();
  EXPECT_EQ(openDescriptors(), before);
}

// ---- Through a proxy ----

TEST_F(SocketConnectorTest, TellsThatTheConnectionGoesThroughAProxy) {
  const ScriptedProxy proxy(0);
  connectToHost("ftp.example.test", 21, 30, proxy.route());
  wait();
  EXPECT_TRUE(result.descriptor);
  EXPECT_TRUE(result.throughProxy);
}

TEST_F(SocketConnectorTest, AnExceptionIsReachedWithoutTheProxy) {
  const ScriptedProxy proxy(0);
  const Port port("127.0.0.1");
  connectToHost("localhost", port.number(), 30, proxy.route({"localhost"}));
  wait();
  EXPECT_FALSE(result.throughProxy);
  EXPECT_TRUE(port.hasConnection());
}

TEST_F(SocketConnectorTest, WithoutProxiesAProxyDoesNotCount) {
  const ScriptedProxy proxy(0);
  const Port port("127.0.0.1");
  Route route = proxy.route();
  route.useProxies = false;
  connectToHost("localhost", port.number(), 30, route);
  wait();
  EXPECT_FALSE(result.throughProxy);
  EXPECT_TRUE(port.hasConnection());
}

TEST_F(SocketConnectorTest, TheProxyThatIsNoneLeadsStraightToTheHost) {
  const Port port("127.0.0.1");
  connectToHost("127.0.0.1", port.number(), 30, {true, "direct://", {}});
  wait();
  EXPECT_FALSE(result.throughProxy);
  EXPECT_TRUE(port.hasConnection());
}

TEST_F(SocketConnectorTest, AConnectionThatTheProxyRefusesIsNotTriedDirectly) {
  const char notAllowed = 2;
  const ScriptedProxy proxy(notAllowed);
  const Port port("127.0.0.1");
  connectToHost("127.0.0.1", port.number(), 30, proxy.route());
  wait();
  EXPECT_FALSE(result.descriptor);
  EXPECT_TRUE(result.error);
  EXPECT_FALSE(port.hasConnection());
}

TEST_F(SocketConnectorTest, AProxyOfAnUnknownKindIsNotPassedBy) {
  const Port port("127.0.0.1");
  for (const char* proxy : {"gopher://127.0.0.1:70", "nonsense", "socks5://", "://", "http://127.0.0.1:99999",
                            "http://[::1", "socks5://user:a b@127.0.0.1:1"}) {
    completions = 0;
    connectToHost("127.0.0.1", port.number(), 30, {true, proxy, {}});
    wait();
    EXPECT_FALSE(result.descriptor) << proxy;
    EXPECT_TRUE(result.error) << proxy;
    EXPECT_FALSE(port.hasConnection()) << proxy;
  }
}

TEST_F(SocketConnectorTest, AProxyThatSaysNothingEndsAtTheLimitOrWhenGivenUp) {
  const Port proxy("127.0.0.1");
  const Route route{true, "socks5://127.0.0.1:" + std::to_string(proxy.number()), {}};
  connectToHost("ftp.example.test", 21, 0.3, route);
  wait();
  EXPECT_TRUE(failedWith(kCFErrorDomainCFNetwork(), kCFURLErrorTimedOut));

  completions = 0;
  connectToHost("ftp.example.test", 21, 0.3, route);
  turnOnce();
  connector.reset();
  for (int turn = 0; turn < 5; ++turn) turnOnce();
  EXPECT_EQ(completions, 0);
}

// ---- To an address ----

TEST_F(SocketConnectorTest, ConnectsToAnAddressThatIsKnown) {
  for (const char* host : {"127.0.0.1", "::1"}) {
    const Port port(host);
    completions = 0;
    connectToAddress(port.address());
    wait();
    EXPECT_EQ(peer(), host);
    EXPECT_FALSE(result.throughProxy);
    EXPECT_TRUE(fcntl(result.descriptor.get(), F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(fcntl(result.descriptor.get(), F_GETFD) & FD_CLOEXEC);
  }
}

void expectToBreakOff(const FileDescriptor& socket) {
  linger setting{};
  socklen_t size = sizeof setting;
  ASSERT_EQ(getsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &setting, &size), 0);
  EXPECT_NE(setting.l_onoff, 0);
  EXPECT_EQ(setting.l_linger, 0);
}

TEST_F(SocketConnectorTest, AConnectionToAnAddressIsResetWhenItsProcessDies) {
  const Port port("127.0.0.1");
  connectToAddress(port.address());
  wait();
  expectToBreakOff(result.descriptor);
}

std::string congestionControlOf(const FileDescriptor& socket) {
  std::array<char, 16> name{};
  socklen_t size = name.size() - 1;
  EXPECT_EQ(getsockopt(socket.get(), IPPROTO_TCP, TCP_CONGESTION, name.data(), &size), 0);
  return name.data();
}

TEST(DataSocket, UsesACongestionControlWithoutATimerOnlyWithinThisComputer) {
  for (const char* host : {"127.0.0.1", "127.255.0.9", "::1", "::ffff:127.0.0.1"}) {
    const FileDescriptor socket = socketFor(addressOf(host));
    cfnetwork::prepareForData(socket.get(), addressOf(host));
    EXPECT_EQ(congestionControlOf(socket), "reno") << host;
  }
  for (const char* host : {"0.0.0.0", "1.0.0.127", "192.0.2.1", "::", "2001:db8::1", "::ffff:192.0.2.1"}) {
    const FileDescriptor socket = socketFor(addressOf(host));
    const std::string usual = congestionControlOf(socket);
    cfnetwork::prepareForData(socket.get(), addressOf(host));
    EXPECT_EQ(congestionControlOf(socket), usual) << host;
  }
}

TEST(DataSocket, WhatConnectsToAPreparedListenerIsPreparedToo) {
  const SocketAddress own = addressOf("127.0.0.1");
  const FileDescriptor listener = socketFor(own);
  cfnetwork::prepareForData(listener.get(), own);
  ASSERT_TRUE(bindTo(listener, own));
  ASSERT_EQ(::listen(listener.get(), 1), 0);
  const SocketAddress address = SocketAddress::localOf(listener.get());
  const FileDescriptor client = socketFor(address);
  ASSERT_EQ(::connect(client.get(), reinterpret_cast<const sockaddr*>(&address.storage), address.size), 0);
  const FileDescriptor accepted(::accept(listener.get(), nullptr, nullptr));
  expectToBreakOff(accepted);
  EXPECT_EQ(congestionControlOf(accepted), "reno");
}

TEST_F(SocketConnectorTest, AConnectionToAnAddressIsPreparedForData) {
  const Port port("127.0.0.1");
  connectToAddress(port.address());
  wait();
  EXPECT_EQ(congestionControlOf(result.descriptor), "reno");
}

TEST_F(SocketConnectorTest, AnAddressThatRefusesIsAnError) {
  for (const char* host : {"127.0.0.1", "::1"}) {
    const RefusingPort port(host);
    completions = 0;
    connectToAddress(port.address());
    wait();
    EXPECT_TRUE(failedWith(NSPOSIXErrorDomain(), ECONNREFUSED)) << host;
  }
}

TEST_F(SocketConnectorTest, AnAddressThatCannotBeUsedIsAnErrorToo) {
  connectToAddress(SocketAddress());
  wait();
  EXPECT_FALSE(result.descriptor);
  EXPECT_TRUE(result.error);
}

TEST_F(SocketConnectorTest, AnAddressThatSwallowsEverythingEndsAtTheLimit) {
  const Port hole("::1", Port::Kind::Swallowing);
  connectToAddress(hole.address(), 0.3);
  wait();
  EXPECT_TRUE(failedWith(kCFErrorDomainCFNetwork(), kCFURLErrorTimedOut));
}

TEST_F(SocketConnectorTest, GivenUpOnItsWayToAnAddressItTellsNothing) {
  const Port hole("127.0.0.1", Port::Kind::Swallowing);
  const RefusingPort refusing("127.0.0.1");
  for (const SocketAddress& address : {hole.address(), refusing.address()}) {
    connectToAddress(address, 0.2);
    connector.reset();
    for (int turn = 0; turn < 4; ++turn) turnOnce();
    EXPECT_EQ(completions, 0);
  }
}

// ---- Addresses ----

TEST(SocketAddress, AnIPv4AddressInIPv6ClothesIsTheSameHost) {
  const SocketAddress mapped = addressOf("::ffff:10.1.2.3", 21);
  EXPECT_EQ(mapped.unmapped().host(), "10.1.2.3");
  EXPECT_EQ(mapped.unmapped().port(), 21);
  EXPECT_FALSE(mapped.unmapped().isIPv6());
  EXPECT_TRUE(mapped.isSameHost(addressOf("10.1.2.3", 4000)));
  EXPECT_FALSE(mapped.isSameHost(addressOf("10.1.2.4", 21)));
  EXPECT_EQ(addressOf("2001:db8::1").unmapped().host(), "2001:db8::1");
}

}  // namespace
