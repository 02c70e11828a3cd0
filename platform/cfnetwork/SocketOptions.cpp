#include "cfnetwork/SocketOptions.h"

#include <string_view>

#include <netinet/in.h>
#include <netinet/tcp.h>

inline namespace telvo {

namespace cfnetwork {

void setClosing(int descriptor, Closing closing) {
  const linger setting{closing == Closing::ByReset ? 1 : 0, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &setting, sizeof setting);
}

void prepareForData(int descriptor, const SocketAddress& address) {
  // An attempt that is given up, or whose process is killed, may have got through already: the other side must not
  // take it for a connection that was used and ended in good order.
  setClosing(descriptor, Closing::ByReset);
  // Nothing is congested here, and a control that sends by a timer (BBR) takes several times the processor's time.
  // It has to be chosen before the connection is made; afterwards the timer stays. Every system has this one.
  constexpr std::string_view withoutTimer = "reno";
  if (address.isLoopback()) {
    setsockopt(descriptor, IPPROTO_TCP, TCP_CONGESTION, withoutTimer.data(), withoutTimer.size());
  }
}

}  // namespace cfnetwork

}  // namespace telvo
