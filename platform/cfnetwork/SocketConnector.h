#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/socket.h>

#include "foundation/files/FileIO.h"
#include "foundation/runtime/NSObject.h"

class NSError;
class NSRunLoop;

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

// Whether the system resets a connection when its last descriptor goes, instead of ending it in good order.
void setBreaksOff(int descriptor, bool breaksOff);

// Readies a new socket to carry data to this address, or from a listener at it: it is set to be broken off, from the
// first packet on, and within this computer it is not slowed down by the congestion control.
void prepareForData(int descriptor, const SocketAddress& address);

// Which roads lead to a host.
struct Route {
  bool useProxies = false;  // false: always direct
  // A proxy's URL, "direct://" for none; empty: what the desktop's settings say. One that cannot be read is an error.
  std::string proxy;
  std::vector<std::string> exceptions;

  bool operator==(const Route&) const = default;
};

// Makes one TCP connection without blocking. Destroying it gives the attempt up. On its run loop's thread only.
class SocketConnector {
 public:
  struct Result {
    foundation::FileDescriptor descriptor;  // non-blocking, close-on-exec
    bool throughProxy = false;
    Ref<NSError> error;  // set when there is no descriptor
  };
  using Completion = std::function<void(Result result)>;

  // Resolves the host and tries its addresses until one answers. The completion is called once, from a run-loop turn,
  // at the latest after the given number of seconds.
  static std::unique_ptr<SocketConnector> connectToHost(const Ref<NSRunLoop>& runLoop, const std::string& host,
                                                        std::uint16_t port, const Route& route, NSTimeInterval limit,
                                                        Completion completion);
  // The connection is prepared for data, see prepareForData().
  static std::unique_ptr<SocketConnector> connectToAddress(const Ref<NSRunLoop>& runLoop, const SocketAddress& address,
                                                           NSTimeInterval limit, Completion completion);

  virtual ~SocketConnector() = default;

 protected:
  SocketConnector() = default;
};

}  // namespace cfnetwork
