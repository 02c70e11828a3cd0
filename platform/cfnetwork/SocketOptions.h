#pragma once

#include "cfnetwork/SocketAddress.h"

inline namespace telvo {

namespace cfnetwork {

// Whether the system resets a connection when its last descriptor goes, instead of ending it in good order.
void setBreaksOff(int descriptor, bool breaksOff);

// Readies a new socket to carry data to this address, or from a listener at it: it is set to be broken off, from the
// first packet on, and within this computer it is not slowed down by the congestion control.
void prepareForData(int descriptor, const SocketAddress& address);

}  // namespace cfnetwork

}  // namespace telvo
