#pragma once

#include <cstdint>
#include <string>

#include "cfnetwork/FTPSecurity.h"
#include "cfnetwork/SocketConnector.h"
#include "foundation/runtime/NSObject.h"

inline namespace telvo {

namespace cfnetwork {

// A server and the way in. Texts are raw bytes without carriage returns, line feeds and NULs.
struct FTPEndpoint {
  std::string host;
  std::uint16_t port = 21;
  std::string user;
  std::string password;
  Route route;
  bool passive = true;
  bool announcesUTF8 = false;  // to a server that has the feature
  FTPSecurity security = {};

  bool operator==(const FTPEndpoint&) const = default;
};

// What the client puts up with. Times are in seconds; each ends in an error, never in a hang.
struct FTPLimits {
  NSTimeInterval connect = 30;   // for a control or data connection to be made
  NSTimeInterval reply = 60;     // for a reply, the greeting included
  NSTimeInterval progress = 60;  // for the other side to take any byte of data

  NSTimeInterval prepared = 20;  // for which a data connection that waits for its file is good: servers close them
  NSTimeInterval idle = 10;      // for which control connections are kept after the last item
  NSTimeInterval spare = 60;     // for which those that have nothing to do are kept during one item

  std::size_t connections = 3;            // control connections to one server and login, at the most
  NSTimeInterval shortRoundTrip = 0.003;  // with one that is shorter, nothing is gained by a second connection
};

}  // namespace cfnetwork

}  // namespace telvo
