#include "cfnetwork/FTPDataChannel.h"

#include <array>
#include <cerrno>
#include <utility>

#include <sys/socket.h>

#include "cfnetwork/SocketOptions.h"
#include "foundation/errors/NSError.h"
#include "foundation/events/NSRunLoop.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

using Source = foundation::DescriptorSource;

// A server has nothing to say on this connection. This many bytes at the most are read to get at its end.
constexpr std::size_t mostUnwanted = 1 << 20;

// Somebody has knocked and gone again, or nobody has: not a failure of the port.
bool isPassingFailure(int code) {
  return code == EAGAIN || code == EWOULDBLOCK || code == EINTR || code == ECONNABORTED || code == EPROTO ||
         code == ENETDOWN || code == EHOSTUNREACH || code == ENETUNREACH;
}

}  // namespace

FTPDataChannel::FTPDataChannel(Ref<NSRunLoop> runLoop, Delegate& delegate)
    : runLoop_(std::move(runLoop)), delegate_(&delegate) {}

FTPDataChannel::~FTPDataChannel() = default;

void FTPDataChannel::belongTo(const FTPConnection& control) {
  peer_ = control.peer();
  mayGetReady_ = control.takesEarlyData();
  endsAtOnce_ = !control.isThroughProxy();
}

void FTPDataChannel::connect(const FTPConnection& control, std::uint16_t port, NSTimeInterval limit) {
  belongTo(control);
  const auto completion = [this](SocketConnector::Result result) { connected(std::move(result)); };
  if (control.isThroughProxy()) {
    const FTPEndpoint& endpoint = control.endpoint();
    connector_ = SocketConnector::connectToHost(runLoop_, endpoint.host, port, endpoint.route, limit, completion);
    return;
  }
  SocketAddress address = SocketAddress::peerOf(control.descriptor());
  address.setPort(port);
  connector_ = SocketConnector::connectToAddress(runLoop_, address, limit, completion);
}

void FTPDataChannel::connected(SocketConnector::Result result) {
  connector_.reset();
  if (!result.descriptor) return lose(result.error);
  socket_ = FTPSocket(std::move(result.descriptor));
  attach();
}

std::optional<SocketAddress> FTPDataChannel::listen(const FTPConnection& control) {
  belongTo(control);
  SocketAddress address = SocketAddress::localOf(control.descriptor()).unmapped();
  server_ = SocketAddress::peerOf(control.descriptor());
  address.setPort(0);
  listener_ =
      foundation::FileDescriptor(::socket(address.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  // Inherited by what connects to it.
  if (listener_) prepareForData(listener_.get(), address);
  const bool listening = listener_ &&
                         ::bind(listener_.get(), reinterpret_cast<sockaddr*>(&address.storage), address.size) == 0 &&
                         ::listen(listener_.get(), 1) == 0;
  if (!listening) return std::nullopt;
  source_.emplace(runLoop_, listener_.get(), Source::Readable, [this] { accept(); });
  return SocketAddress::localOf(listener_.get());
}

void FTPDataChannel::accept() {
  foundation::FileDescriptor accepted(::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  if (!accepted) {
    // Without a free descriptor, for example, the listener would stay ready for ever.
    if (!isPassingFailure(errno)) lose(NSError::errorWithPOSIXCode(errno));
    return;
  }
  // Somebody else who found the port gets nothing.
  if (!SocketAddress::peerOf(accepted.get()).isSameHost(server_)) return;
  source_.reset();
  listener_.close();
  socket_ = FTPSocket(std::move(accepted));
  attach();
}

void FTPDataChannel::attach() {
  // For connections through a proxy: the others are set so from the beginning.
  setClosing(socket_.descriptor(), Closing::ByReset);
  // Nothing is to be read before the connection is used, unless it has ended.
  source_.emplace(runLoop_, socket_.descriptor(), Source::Readable, [this] { socketReady(); });
  if (peer_) socket_.encrypt(peer_, TLSChannel::Use::Data);
  if (!shakeHands()) return lose(socket_.errorOf(errno));
  delegate_->dataChannelDidConnect();
}

// False when it has failed. What the server says before the handshake is not for us to read.
bool FTPDataChannel::shakeHands() {
  if (peer_ && !mayGetReady_) return true;
  switch (socket_.shakeHands()) {
    case FTPSocket::Progress::Failed:
      return false;
    case FTPSocket::Progress::WaitsToRead:
      source_->setEvents(Source::Readable);
      return true;
    case FTPSocket::Progress::WaitsToWrite:
      source_->setEvents(Source::Writable);
      return true;
    case FTPSocket::Progress::Done:
      break;
  }
  source_->setEvents(Source::Readable);
  isReady_ = true;
  return true;
}

void FTPDataChannel::getReady() {
  if (std::exchange(mayGetReady_, true) || !socket_ || isReady_) return;
  // The next turn goes on from here, and reports.
  source_->setEvents(Source::Writable);
}

bool FTPDataChannel::isUntouched() {
  if (!socket_) return static_cast<bool>(listener_) || static_cast<bool>(connector_);
  if (peer_ && !isReady_ && mayGetReady_) return shakeHands();
  if (!isReady_) return socket_.isSilent();
  char byte = 0;
  return unwanted_ == 0 && socket_.read(&byte, 1) < 0 && errno == EAGAIN;
}

void FTPDataChannel::socketReady() {
  if (!isReady_) return handshakeReady();
  if (source_->isReadable()) return readUnwanted();
  source_->setEvents(Source::None);
  blocked_ = false;
  delegate_->dataChannelHasSpace();
}

void FTPDataChannel::handshakeReady() {
  // Nobody is to speak before the handshake: it is the connection's end.
  if (!mayGetReady_) return lose(NSError::errorWithPOSIXCode(ECONNRESET));
  if (!shakeHands()) return lose(socket_.errorOf(errno));
  if (isReady_) delegate_->dataChannelHasSpace();
}

// Nothing but the connection's end is expected. A server may end its own direction while ours is still open, and some
// do once they have what they want: whether ours is then of use shows when it is written to.
void FTPDataChannel::readUnwanted() {
  std::array<char, 16384> buffer;
  const std::int64_t size = socket_.read(buffer.data(), buffer.size());
  if (size < 0 && errno == EAGAIN) return;
  if (size < 0) return lose(socket_.errorOf(errno));
  unwanted_ += static_cast<std::size_t>(size);
  if (unwanted_ > mostUnwanted) return lose(NSError::errorWithPOSIXCode(EPROTO));
  if (size > 0) return;
  // Encrypted, an end that the server has not announced is not its own.
  if (peer_ && !ended_ && !socket_.isEndAnnounced()) return lose(NSError::errorWithPOSIXCode(ECONNRESET));
  // With both directions ended there is nothing left to be told; the socket would be ready for ever.
  if (ended_) {
    endConnection();
    return source_.reset();
  }
  source_->setEvents(blocked_ ? Source::Writable : Source::None);
}

std::int64_t FTPDataChannel::send(const std::uint8_t* bytes, std::size_t length) {
  const std::int64_t sent = socket_.write(bytes, length);
  if (sent < 0) {
    const int error = errno;
    source_.reset();
    errno = error;
  } else if (static_cast<std::size_t>(sent) < length) {
    waitForSpace();
  }
  return sent;
}

std::int64_t FTPDataChannel::sendFile(int file, std::size_t length) {
  const std::int64_t sent = socket_.sendFile(file, length);
  if (sent == 0) waitForSpace();
  return sent;
}

void FTPDataChannel::waitForSpace() {
  blocked_ = true;
  source_->setEvents(Source::Writable);
}

void FTPDataChannel::askForSpace() {
  if (source_) source_->setEvents(Source::Writable);
}

void FTPDataChannel::end() {
  if (!isReady() || ended_) return;
  endCameEarly_ = endCameEarly_ || isEndAnnounced();
  const FTPSocket::Progress progress = socket_.endWriting();
  if (progress == FTPSocket::Progress::WaitsToWrite) return waitForSpace();
  // What has broken it shows when it is read.
  ended_ = progress == FTPSocket::Progress::Done;
  blocked_ = false;
  if (ended_ && endsAtOnce_) endConnection();
  if (source_) source_->setEvents(Source::Readable);
}

// Also when the announcement has come and the run loop has not served it yet.
bool FTPDataChannel::isEndAnnounced() {
  std::array<char, 16384> buffer;
  while (socket_ && !endAnnounced_ && socket_.read(buffer.data(), buffer.size()) > 0) {
  }
  endAnnounced_ = endAnnounced_ || (socket_ && socket_.isEndAnnounced());
  if (ended_ && endAnnounced_) endConnection();
  return endAnnounced_;
}

// Some servers reply only when an encrypted connection itself has ended on our side, too. Proxies that know of no end
// in one direction only would close the other one as well, which the server has filled with what belongs to the
// encryption: they reset it then, and what they had not passed on is lost. Through them the server's own end is waited
// for.
void FTPDataChannel::endConnection() {
  if (peer_ && socket_ && !std::exchange(isOver_, true)) socket_.endConnection();
}

// An end of the server's that has come before ours says nothing about what it has got.
bool FTPDataChannel::mayBeCutShort() { return peer_ && (endCameEarly_ || !isEndAnnounced()); }

Ref<NSError> FTPDataChannel::errorOf(int code) const { return socket_.errorOf(code); }

// Systems acknowledge an end at their leisure, and a reset may come first; what counts is what comes before it. An
// encrypted connection's end is something that comes before it.
std::size_t FTPDataChannel::unacknowledged() const {
  const std::size_t bytes = socket_.unacknowledged();
  return ended_ && (!peer_ || isOver_) && bytes > 0 ? bytes - 1 : bytes;
}

Ref<NSError> FTPDataChannel::takeError() {
  const int code = socket_.takeError();
  return code == 0 ? nil : NSError::errorWithPOSIXCode(code);
}

void FTPDataChannel::breakOff() {
  endAnnounced_ = endAnnounced_ || socket_.isEndAnnounced();
  source_.reset();
  socket_.breakOff();
}

void FTPDataChannel::lose(const Ref<NSError>& error) {
  source_.reset();
  delegate_->dataChannelDidBreak(error);
}

}  // namespace cfnetwork

}  // namespace telvo
