#include "cfnetwork/FTPSocket.h"

#include <cerrno>
#include <cstddef>
#include <limits>
#include <utility>

#include <linux/sockios.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/socket.h>

#include "cfnetwork/BrokenPipeSilencer.h"
#include "cfnetwork/SocketOptions.h"
#include "foundation/errors/NSError.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

bool isNoRoom() { return errno == EAGAIN || errno == EWOULDBLOCK; }

}  // namespace

void FTPSocket::encrypt(std::shared_ptr<TLSPeer> peer, TLSChannel::Use use) {
  // The end of the handshake and the first data are two small records; the second would wait for the first one's
  // acknowledgement.
  const int on = 1;
  setsockopt(descriptor_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  channel_ = std::make_unique<TLSChannel>(std::move(peer), descriptor_.get(), use);
}

FTPSocket::Progress FTPSocket::shakeHands() { return channel_ ? channel_->shakeHands() : Progress::Done; }

std::int64_t FTPSocket::read(void* buffer, std::size_t size) {
  if (channel_) return channel_->read(buffer, size);
  ssize_t received = 0;
  do {
    received = ::recv(descriptor_.get(), buffer, size, MSG_DONTWAIT);
  } while (received < 0 && errno == EINTR);
  return received;
}

bool FTPSocket::isSilent() const {
  char byte = 0;
  return ::recv(descriptor_.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && isNoRoom();
}

std::int64_t FTPSocket::write(const void* bytes, std::size_t size) {
  if (channel_) return channel_->write(bytes, size);
  ssize_t sent = 0;
  do {
    sent = ::send(descriptor_.get(), bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
  } while (sent < 0 && errno == EINTR);
  return sent < 0 && isNoRoom() ? 0 : sent;
}

std::int64_t FTPSocket::sendFile(int file, std::size_t size) {
  if (channel_) return channel_->sendFile(file, size);
  const BrokenPipeSilencer silencer;
  ssize_t sent = 0;
  do {
    sent = ::sendfile(descriptor_.get(), file, nullptr, size);
  } while (sent < 0 && errno == EINTR);
  if (sent > 0) return sent;
  return sent < 0 && isNoRoom() ? 0 : -1;
}

// Encrypted, the announcement is the end of what is written; the connection's own one is endConnection()'s.
FTPSocket::Progress FTPSocket::endWriting() {
  const Progress progress = channel_ ? channel_->end() : Progress::Done;
  if (progress != Progress::Done) return progress;
  setClosing(descriptor_.get(), Closing::InGoodOrder);
  if (!channel_) ::shutdown(descriptor_.get(), SHUT_WR);
  return Progress::Done;
}

void FTPSocket::endConnection() { ::shutdown(descriptor_.get(), SHUT_WR); }

void FTPSocket::announceEnd() {
  if (channel_ && channel_->isEstablished()) channel_->end();
}

void FTPSocket::close() {
  channel_.reset();
  descriptor_.close();
}

void FTPSocket::breakOff() {
  if (!descriptor_) return;
  setClosing(descriptor_.get(), Closing::ByReset);
  close();
}

std::size_t FTPSocket::unacknowledged() const {
  int bytes = 0;
  const std::size_t heldBack = channel_ ? channel_->heldBack() : 0;
  return heldBack + (ioctl(descriptor_.get(), SIOCOUTQ, &bytes) == 0 ? static_cast<std::size_t>(bytes) : 0);
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

Ref<NSError> FTPSocket::errorOf(int code) const {
  return channel_ && channel_->error() ? channel_->error() : NSError::errorWithPOSIXCode(code);
}

}  // namespace cfnetwork

}  // namespace telvo
