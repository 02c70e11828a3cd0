#include "cfnetwork/FTPDataChannel.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/socket.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "foundation/errors/NSError.h"
#include "foundation/events/NSRunLoop.h"

namespace {

// A server has nothing to say on this connection. So many bytes are read to get at its end, not more.
constexpr std::size_t mostUnwanted = 1 << 20;

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

FTPDataChannel::FTPDataChannel(Ref<NSRunLoop> runLoop, const FTPLimits& limits, Delegate& delegate)
    : runLoop_(std::move(runLoop)),
      limits_(limits),
      delegate_(delegate),
      watch_(runLoop_, [this] { checkProgress(); }) {}

FTPDataChannel::~FTPDataChannel() = default;

void FTPDataChannel::connect(const FTPConnection& control, std::uint16_t port) {
  const auto completion = [this](cfnetwork::SocketConnector::Result result) { connected(std::move(result)); };
  if (control.isThroughProxy()) {
    const FTPEndpoint& endpoint = control.endpoint();
    connector_ = cfnetwork::SocketConnector::connectToHost(runLoop_, endpoint.host, port, endpoint.route,
                                                           limits_.connect, completion);
    return;
  }
  cfnetwork::SocketAddress address = cfnetwork::SocketAddress::peerOf(control.descriptor());
  address.setPort(port);
  connector_ = cfnetwork::SocketConnector::connectToAddress(runLoop_, address, limits_.connect, completion);
}

void FTPDataChannel::connected(cfnetwork::SocketConnector::Result result) {
  connector_.reset();
  if (!result.descriptor) return fail(result.error);
  socket_ = std::move(result.descriptor);
  attach();
}

std::optional<cfnetwork::SocketAddress> FTPDataChannel::listen(const FTPConnection& control) {
  cfnetwork::SocketAddress address = cfnetwork::SocketAddress::localOf(control.descriptor()).unmapped();
  server_ = cfnetwork::SocketAddress::peerOf(control.descriptor());
  address.setPort(0);
  listener_ =
      foundation::FileDescriptor(::socket(address.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  // Inherited by what connects to it.
  if (listener_) cfnetwork::prepareForData(listener_.get(), address);
  const bool listening = listener_ &&
                         ::bind(listener_.get(), reinterpret_cast<sockaddr*>(&address.storage), address.size) == 0 &&
                         ::listen(listener_.get(), 1) == 0;
  if (!listening) return std::nullopt;
  source_.emplace(runLoop_, listener_.get(), foundation::DescriptorSource::Readable, [this] { accept(); });
  watch_.fireAfter(limits_.connect);
  return cfnetwork::SocketAddress::localOf(listener_.get());
}

void FTPDataChannel::accept() {
  foundation::FileDescriptor accepted(::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  if (!accepted) return;
  // Somebody else who found the port gets nothing.
  if (!cfnetwork::SocketAddress::peerOf(accepted.get()).isSameHost(server_)) return;
  source_.reset();
  listener_.close();
  watch_.cancel();
  socket_ = std::move(accepted);
  attach();
}

void FTPDataChannel::attach() {
  // For connections through a proxy: the others are set so from the beginning.
  cfnetwork::setBreaksOff(socket_.get(), true);
  source_.emplace(runLoop_, socket_.get(), foundation::DescriptorSource::None, [this] { socketReady(); });
  delegate_.dataChannelDidConnect();
}

void FTPDataChannel::socketReady() {
  if (closed_) return checkEnding();
  source_->setEvents(foundation::DescriptorSource::None);
  blocked_ = false;
  watch_.cancel();
  delegate_.dataChannelHasSpace();
}

std::int64_t FTPDataChannel::send(const std::uint8_t* bytes, std::size_t length) {
  if (length == 0) return 0;
  ssize_t sent = 0;
  do {
    sent = ::send(socket_.get(), bytes, length, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  if (sent < 0 && errno != EAGAIN && errno != EWOULDBLOCK) return -1;
  if (sent >= 0 && static_cast<std::size_t>(sent) == length) return sent;
  waitForSpace();
  return std::max<ssize_t>(sent, 0);
}

std::int64_t FTPDataChannel::sendFile(int file, std::size_t length) {
  const BrokenPipeSilencer silencer;
  ssize_t sent = 0;
  do {
    sent = ::sendfile(socket_.get(), file, nullptr, length);
  } while (sent < 0 && errno == EINTR);
  if (sent > 0) return sent;
  if (sent == 0 || (errno != EAGAIN && errno != EWOULDBLOCK)) return -1;
  waitForSpace();
  return 0;
}

void FTPDataChannel::waitForSpace() {
  blocked_ = true;
  source_->setEvents(foundation::DescriptorSource::Writable);
  startWatch();
}

void FTPDataChannel::askForSpace() {
  if (source_) source_->setEvents(foundation::DescriptorSource::Writable);
}

void FTPDataChannel::close() {
  if (!socket_ || closed_) return;
  closed_ = true;
  cfnetwork::setBreaksOff(socket_.get(), false);
  ::shutdown(socket_.get(), SHUT_WR);
  source_->setEvents(foundation::DescriptorSource::Readable);
  startWatch();
}

bool FTPDataChannel::reset() {
  int unsent = 0;
  if (!socket_ || !closed_ || ioctl(socket_.get(), SIOCOUTQNSD, &unsent) != 0 || unsent != 0) return false;
  source_.reset();
  watch_.cancel();
  resetFrom_ = cfnetwork::SocketAddress::localOf(socket_.get());
  resetTo_ = cfnetwork::SocketAddress::peerOf(socket_.get());
  cfnetwork::setBreaksOff(socket_.get(), true);
  socket_.close();
  return true;
}

// A request for the same connection. A system that has it still open answers with what it has received last, to which
// ours, knowing nothing of it, answers with a reset ("half-open connections", RFC 9293, section 3.5.1).
void FTPDataChannel::resetAgain() {
  socket_ =
      foundation::FileDescriptor(::socket(resetFrom_.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  cfnetwork::setBreaksOff(socket_.get(), true);
  if (::bind(socket_.get(), reinterpret_cast<sockaddr*>(&resetFrom_.storage), resetFrom_.size) != 0) return;
  [[maybe_unused]] const int pending =
      ::connect(socket_.get(), reinterpret_cast<sockaddr*>(&resetTo_.storage), resetTo_.size);
}

FTPDataChannel::Ending FTPDataChannel::ending() {
  if (closed_ && !peerEnded_ && error_ == 0) {
    std::array<char, 4096> unwanted;
    const ssize_t size = ::recv(socket_.get(), unwanted.data(), unwanted.size(), MSG_DONTWAIT);
    peerEnded_ = size == 0;
    if (size > 0) unwanted_ += static_cast<std::size_t>(size);
    if (unwanted_ > mostUnwanted) error_ = EPROTO;
    if (size < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) error_ = errno;
  } else if (peerEnded_ && error_ == 0) {
    socklen_t size = sizeof error_;
    getsockopt(socket_.get(), SOL_SOCKET, SO_ERROR, &error_, &size);
  }
  if (error_ != 0) return Ending::Broken;
  return peerEnded_ && unacknowledged() == 0 ? Ending::Good : Ending::None;
}

void FTPDataChannel::checkEnding() {
  switch (ending()) {
    case Ending::Broken:
      return fail(NSError::errorWithPOSIXCode(error_));
    case Ending::Good:
      source_.reset();
      watch_.cancel();
      return delegate_.dataChannelDidEnd();
    case Ending::None:
      // The server's end stays readable; what is still to come is left to the watch.
      if (peerEnded_) source_->setEvents(foundation::DescriptorSource::None);
  }
}

int FTPDataChannel::unacknowledged() const {
  int bytes = 0;
  return ioctl(socket_.get(), SIOCOUTQ, &bytes) == 0 ? bytes : 0;
}

NSTimeInterval FTPDataChannel::roundTrip() const {
  tcp_info information{};
  socklen_t size = sizeof information;
  if (getsockopt(socket_.get(), IPPROTO_TCP, TCP_INFO, &information, &size) != 0) return 0;
  return information.tcpi_rtt / 1e6;
}

// Room is only announced when a good part of the kernel's buffer is free, which on a slow link can take longer than
// the limit; the number of unacknowledged bytes tells earlier whether the other side takes anything.
void FTPDataChannel::startWatch() {
  withoutProgress_ = 0;
  lastUnacknowledged_ = unacknowledged();
  watch_.fireAfter(watchInterval());
}

NSTimeInterval FTPDataChannel::watchInterval() const { return std::min(1.0, limits_.progress / 4); }

void FTPDataChannel::checkProgress() {
  if (listener_) {
    return fail(cfnetwork::errorWithCode(kCFURLErrorTimedOut, "The server did not make the data connection in time."));
  }
  if (peerEnded_ && ending() != Ending::None) return checkEnding();
  if (isDrained()) return delegate_.dataChannelDidDrain();
  const int waiting = unacknowledged();
  withoutProgress_ = waiting == lastUnacknowledged_ ? withoutProgress_ + watchInterval() : 0;
  lastUnacknowledged_ = waiting;
  if (withoutProgress_ >= limits_.progress) {
    return fail(cfnetwork::errorWithCode(kCFURLErrorTimedOut, "The server stopped taking data."));
  }
  watch_.fireAfter(watchInterval());
}

void FTPDataChannel::fail(const Ref<NSError>& error) {
  source_.reset();
  watch_.cancel();
  delegate_.dataChannelDidFail(error);
}
