#include "cfnetwork/FTPSocket.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <limits>

#include <linux/sockios.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/socket.h>

#include "cfnetwork/SocketOptions.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

bool isNoRoom() { return errno == EAGAIN || errno == EWOULDBLOCK; }

// sendfile() knows no MSG_NOSIGNAL: keeps the signal of a broken connection from this thread.
class BrokenPipeSilencer {
 public:
  BrokenPipeSilencer() {
    sigset_t pending;
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &signals_, &before_);
  }
  BrokenPipeSilencer(const BrokenPipeSilencer&) = delete;
  BrokenPipeSilencer& operator=(const BrokenPipeSilencer&) = delete;
  ~BrokenPipeSilencer() {
    const timespec none{};
    if (!wasPending_) sigtimedwait(&signals_, nullptr, &none);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  sigset_t signals_ = [] {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    return signals;
  }();
  sigset_t before_{};
  bool wasPending_ = false;
};

}  // namespace

std::int64_t FTPSocket::read(void* buffer, std::size_t size) {
  ssize_t received = 0;
  do {
    received = ::recv(descriptor_.get(), buffer, size, MSG_DONTWAIT);
  } while (received < 0 && errno == EINTR);
  return received;
}

std::int64_t FTPSocket::write(const void* bytes, std::size_t size) {
  ssize_t sent = 0;
  do {
    sent = ::send(descriptor_.get(), bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
  } while (sent < 0 && errno == EINTR);
  return sent < 0 && isNoRoom() ? 0 : sent;
}

std::int64_t FTPSocket::sendFile(int file, std::size_t size) {
  const BrokenPipeSilencer silencer;
  ssize_t sent = 0;
  do {
    sent = ::sendfile(descriptor_.get(), file, nullptr, size);
  } while (sent < 0 && errno == EINTR);
  if (sent > 0) return sent;
  return sent < 0 && isNoRoom() ? 0 : -1;
}

void FTPSocket::endWriting() {
  setBreaksOff(descriptor_.get(), false);
  ::shutdown(descriptor_.get(), SHUT_WR);
}

void FTPSocket::breakOff() {
  if (!descriptor_) return;
  setBreaksOff(descriptor_.get(), true);
  descriptor_.close();
}

std::size_t FTPSocket::unacknowledged() const {
  int bytes = 0;
  return ioctl(descriptor_.get(), SIOCOUTQ, &bytes) == 0 ? static_cast<std::size_t>(bytes) : 0;
}

bool FTPSocket::hasLeft() const {
  int unsent = 0;
  int segment = 0;
  socklen_t size = sizeof segment;
  if (ioctl(descriptor_.get(), SIOCOUTQNSD, &unsent) != 0 || unsent > 0) return false;
  if (getsockopt(descriptor_.get(), IPPROTO_TCP, TCP_MAXSEG, &segment, &size) != 0) return false;
  constexpr std::size_t end = 1;  // is the last to be acknowledged
  return unacknowledged() < 2 * static_cast<std::size_t>(segment) + end;
}

std::optional<NSTimeInterval> FTPSocket::shortestRoundTrip() const {
  tcp_info info{};
  socklen_t size = sizeof info;
  constexpr auto unknown = std::numeric_limits<decltype(info.tcpi_min_rtt)>::max();
  constexpr double microseconds = 1e6;
  const bool isTold = getsockopt(descriptor_.get(), IPPROTO_TCP, TCP_INFO, &info, &size) == 0 &&
                      size >= offsetof(tcp_info, tcpi_min_rtt) + sizeof info.tcpi_min_rtt &&
                      info.tcpi_min_rtt != unknown;
  return isTold ? std::optional(info.tcpi_min_rtt / microseconds) : std::nullopt;
}

int FTPSocket::takeError() {
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(descriptor_.get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

}  // namespace cfnetwork

}  // namespace telvo
