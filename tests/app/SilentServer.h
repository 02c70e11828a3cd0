#pragma once

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "app/TelvoFTPHelper.h"
#include "foundation/Foundation.h"

// What the tests of the helper share.

using Lines = std::vector<std::string>;

// A server that takes connections and never says a word.
class SilentServer {
 public:
  SilentServer() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(socket_, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(socket_, 16) != 0) std::abort();
    getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
    host_ = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  }
  ~SilentServer() { close(socket_); }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;
  const std::string& host() const { return host_; }

 private:
  int socket_;
  std::string host_;
};

// Where nothing listens: every item fails at once, which no record tells apart from success.
inline const char* const refusingHost = "127.0.0.1:1";

inline void afterSeconds(double seconds, std::function<void()> action) {
  NSTimer::scheduledTimerWithTimeInterval_repeats_block(
      seconds, false, [action = std::move(action)](const Ref<NSTimer>&) { action(); });
}
