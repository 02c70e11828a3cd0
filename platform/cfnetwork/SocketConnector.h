#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cfnetwork/SocketAddress.h"
#include "foundation/files/FileIO.h"
#include "foundation/runtime/NSObject.h"

inline namespace telvo {

class NSError;
class NSRunLoop;

namespace cfnetwork {

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

}  // namespace telvo
