#include "cfnetwork/FTPSession.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "cfnetwork/FTPErrors.h"
#include "foundation/errors/NSError.h"
#include "foundation/events/NSRunLoop.h"

inline namespace telvo {

namespace cfnetwork {

FTPSession::FTPSession(const Ref<NSRunLoop>& runLoop, const FTPEndpoint& endpoint, const FTPLimits& limits,
                       Standing standing)
    : limits_(limits), standing_(standing) {
  FTPConnection::Delegate& delegate = *this;
  connection_ = std::make_shared<FTPConnection>(runLoop, endpoint, limits, delegate);
}

void FTPSession::setLimits(const FTPLimits& limits) {
  limits_ = limits;
  connection_->setLimits(limits);
}

FTPSession::Progress FTPSession::progress() const {
  if (isOver()) return Progress::Over;
  if (!connection_->isLoggedIn()) return Progress::LoggingIn;
  if (!connection_->isQuiet()) return Progress::AskingForPort;
  if (!channel_) return Progress::LoggedIn;
  return channel_->isConnected() || channel_->isListening() ? Progress::Ready : Progress::MakingDataConnection;
}

void FTPSession::prepareFor(Need need) {
  need_ = need;
  if (!isOver() && !connection_->isLoggedIn() && !connection_->isOpening()) connection_->open();
  advance();
}

// The next step towards what is needed; every step's end leads back here.
void FTPSession::advance() {
  if (need_ == Need::Nothing || !connection_->isQuiet()) return;
  if (need_ == Need::Command || progress() == Progress::Ready) return tellReady();
  if (channel_) return;
  connection_->isPassive() ? askForPort() : openPort();
}

void FTPSession::tellReady() {
  need_ = Need::Nothing;
  if (user_) user_->sessionIsReady();
}

void FTPSession::connectionDidLogIn() {
  const auto keptAlive = shared_from_this();
  hasLoggedIn_ = true;
  advance();
}

void FTPSession::connectionDidFail(const Ref<NSError>& error, FTPConnection::Loss loss) {
  const auto keptAlive = shared_from_this();
  isLost_ = true;
  wasTurnedAway_ = loss == FTPConnection::Loss::ClosedByServer && hasLoggedIn_ && !channel_;
  channel_.reset();
  if (user_) user_->sessionDidFail(error, loss);
}

std::unique_ptr<FTPDataChannel> FTPSession::makeChannel() {
  FTPDataChannel::Delegate& delegate = *this;
  return std::make_unique<FTPDataChannel>(connection_->runLoop(), delegate);
}

void FTPSession::askForPort() {
  connection_->send(extendedPassive_ ? "EPSV" : "PASV", [this](const FTPReply& reply) {
    const auto keptAlive = shared_from_this();
    portReply(reply);
  });
}

void FTPSession::portReply(const FTPReply& reply) {
  const auto port = extendedPassive_ ? FTPPortFromExtendedPassiveReply(reply) : FTPPortFromPassiveReply(reply);
  if (port) return connectTo(*port);
  if (!std::exchange(extendedPassive_, false)) return failDataConnection(errorWithReply(reply));
  askForPort();
}

void FTPSession::connectTo(std::uint16_t port) {
  // A server that goes on listening at the same port still has the connection that was given up in its queue, and
  // would take it for this one.
  if (port == unusedPort_) {
    giveUp();
    return failDataConnection(errorWithCode(kCFURLErrorBadServerResponse, "The server gave the same port again."));
  }
  if (port_ != 0 && port_ != port) hasVaryingPorts_ = true;
  port_ = port;
  channel_ = makeChannel();
  channel_->connect(*connection_, port, limits_.connect);
  advance();
}

void FTPSession::openPort() {
  channel_ = makeChannel();
  const auto address = channel_->listen(*connection_);
  if (!address) return failDataConnection(NSError::errorWithPOSIXCode(errno));
  announce(*address);
}

// EPRT, or PORT for an IPv4 server that does not know it.
void FTPSession::announce(const SocketAddress& address) {
  std::string line;
  if (extendedActive_) {
    line = std::string("EPRT |") + (address.isIPv6() ? "2|" : "1|") + address.host() + "|" +
           std::to_string(address.port()) + "|";
  } else {
    std::string numbers = address.host();
    std::ranges::replace(numbers, '.', ',');
    line = "PORT " + numbers + "," + std::to_string(address.port() / 256) + "," + std::to_string(address.port() % 256);
  }
  connection_->send(line, [this, address](const FTPReply& reply) {
    const auto keptAlive = shared_from_this();
    announced(reply, address);
  });
}

void FTPSession::announced(const FTPReply& reply, const SocketAddress& address) {
  if (!channel_) return advance();
  if (reply.isCompletion()) {
    notePrepared();
    return advance();
  }
  if (address.isIPv6() || !std::exchange(extendedActive_, false)) return failDataConnection(errorWithReply(reply));
  announce(address);
}

void FTPSession::dataChannelDidConnect() {
  const auto keptAlive = shared_from_this();
  if (connection_->isPassive()) notePrepared();
  advance();
}

void FTPSession::notePrepared() {
  preparedTime_ = std::chrono::steady_clock::now();
  standing_ = Standing::Regular;
}

void FTPSession::dataChannelDidBreak(const Ref<NSError>& error) {
  const auto keptAlive = shared_from_this();
  const bool wasMade = channel_->isConnected();
  if (!wasMade) return failDataConnection(error);
  // The server has tired of waiting. Another one is made when it is needed.
  dropDataChannel();
  advance();
}

void FTPSession::failDataConnection(const Ref<NSError>& error) {
  channel_.reset();
  const bool isNeeded = std::exchange(need_, Need::Nothing) == Need::Transfer;
  const bool isOfNoUse = isNeeded && !user_;
  if (isOfNoUse || standing_ == Standing::OnProbation) giveUp();
  if (user_ && (isNeeded || isOver())) user_->sessionDidFail(error, FTPConnection::Loss::Failed);
}

void FTPSession::giveUp() {
  isLost_ = true;
  close();
}

std::unique_ptr<FTPDataChannel> FTPSession::takeDataChannel(FTPDataChannel::Delegate& delegate) {
  channel_->setDelegate(delegate);
  unusedPort_.reset();
  return std::move(channel_);
}

void FTPSession::dropDataChannel() {
  if (connection_->isPassive() && channel_->isConnected()) unusedPort_ = port_;
  channel_.reset();
}

void FTPSession::refresh() {
  const auto keptAlive = shared_from_this();
  if (connection_->isLoggedIn()) connection_->readNow();
  if (!channel_) return;
  const std::chrono::duration<NSTimeInterval> age = std::chrono::steady_clock::now() - preparedTime_;
  const bool isPrepared = progress() == Progress::Ready;
  if (isPrepared && (age.count() > limits_.prepared || !channel_->isUntouched())) dropDataChannel();
}

void FTPSession::quit(Unused unused) {
  connection_->quit();
  if (channel_ && unused == Unused::End) channel_->end();
  channel_.reset();
}

void FTPSession::close() {
  channel_.reset();
  connection_->close();
}

}  // namespace cfnetwork

}  // namespace telvo
