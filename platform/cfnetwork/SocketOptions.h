#pragma once

#include "cfnetwork/SocketAddress.h"

inline namespace telvo {

namespace cfnetwork {

// What the system does with a connection whose last descriptor goes: it ends it in good order, or resets it.
enum class Closing { InGoodOrder, ByReset };
void setClosing(int descriptor, Closing closing);

// Readies a new socket to carry data to this address, or from a listener at it: it is set to be broken off, from the
// first packet on, and within this computer it is not slowed down by the congestion control.
void prepareForData(int descriptor, const SocketAddress& address);

}  // namespace cfnetwork

}  // namespace telvo
