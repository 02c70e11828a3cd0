#include <array>
#include <cerrno>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "cfnetwork/SocketConnector.h"
#include "cfnetwork/SocketOptions.h"
#include "foundation/Foundation.h"
#include "tests/platform/cfnetwork/Connecting.h"

// Connections to addresses that are known.

namespace {

using namespace connecting;

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
