#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "cfnetwork/SocketConnector.h"
#include "foundation/Foundation.h"
#include "tests/platform/cfnetwork/Connecting.h"

// Connections to hosts, also through proxies.

namespace {

using namespace connecting;

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

}  // namespace
