#include "cfnetwork/FTPConnection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "cfnetwork/FTPErrors.h"
#include "cfnetwork/FTPGreeting.h"
#include "foundation/errors/NSError.h"
#include "foundation/events/NSRunLoop.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

using Clock = std::chrono::steady_clock;

void setOption(int descriptor, int level, int option, int value) {
  setsockopt(descriptor, level, option, &value, sizeof value);
}

// A router between may forget a connection that is silent during a long transfer: something is said every minute.
void keepAlive(int descriptor) {
  constexpr int seconds = 60;
  setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1);
  setOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, seconds);
  setOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, seconds);
}

// Success is told by codes of which some belong to certain commands only.
struct Success {
  std::string_view verb;
  int code;
};
constexpr std::array successes{Success{"EPSV", 229}, Success{"PASV", 227}, Success{"STOR", 226}, Success{"STOR", 250},
                               Success{"MKD", 257},  Success{"MKD", 250},  Success{"CWD", 250},  Success{"DELE", 250},
                               Success{"RMD", 250},  Success{"RNTO", 250}};

// Whether the reply is another command's: a server that passes over a command, or answers one twice, gives each later
// command the reply to another one.
bool belongsElsewhere(const FTPReply& reply, std::string_view verb) {
  const auto isCode = [&](const Success& success) { return success.code == reply.code; };
  const auto isOwn = [&](const Success& success) { return isCode(success) && success.verb == verb; };
  return std::ranges::any_of(successes, isCode) && std::ranges::none_of(successes, isOwn);
}

// After some replies the server closes the connection, so that they answer whatever was asked: "Service not available",
// and the last words of vsftpd, of which each of its processes may have some.
bool isLast(const FTPReply& reply) {
  return reply.code == FTPCode::serviceNotAvailable ||
         (reply.code == FTPCode::syntaxError && reply.text.starts_with("OOPS: "));
}

std::string withDoubledTelnetBytes(const std::string& line) {
  constexpr char interpretAsCommand = '\xFF';
  std::string doubled;
  for (const char byte : line) doubled.append(byte == interpretAsCommand ? 2 : 1, byte);
  return doubled;
}

}  // namespace

FTPConnection::FTPConnection(Ref<NSRunLoop> runLoop, FTPEndpoint endpoint, const FTPLimits& limits, Delegate& delegate)
    : runLoop_(std::move(runLoop)),
      endpoint_(std::move(endpoint)),
      limits_(limits),
      delegate_(&delegate),
      limit_(runLoop_, [this] { limitPassed(); }) {}

FTPConnection::~FTPConnection() = default;

void FTPConnection::open() {
  state_ = State::Connecting;
  connector_ =
      SocketConnector::connectToHost(runLoop_, endpoint_.host, endpoint_.port, endpoint_.route, limits_.connect,
                                     [this](SocketConnector::Result result) { connected(std::move(result)); });
}

void FTPConnection::connected(SocketConnector::Result result) {
  const auto keptAlive = shared_from_this();
  connector_.reset();
  if (!result.descriptor) return fail(result.error);
  socket_ = FTPSocket(std::move(result.descriptor));
  throughProxy_ = result.throughProxy;
  setOption(socket_.descriptor(), IPPROTO_TCP, TCP_NODELAY, 1);
  keepAlive(socket_.descriptor());
  source_.emplace(runLoop_, socket_.descriptor(), foundation::DescriptorSource::Readable, [this] { socketReady(); });
  state_ = State::LoggingIn;
  if (endpoint_.security.context) peer_ = std::make_shared<TLSPeer>(endpoint_.security.context, endpoint_.host);
  if (endpoint_.security.encryption == FTPEncryption::Implicit) return encrypt([this] { awaitGreeting(); });
  awaitGreeting();
}

void FTPConnection::awaitGreeting() {
  pending_ = Command{"", [this](const FTPReply& reply) { greeted(reply); }, nullptr};
  expectReplyWithin(limits_.reply);
}

void FTPConnection::greeted(const FTPReply& reply) {
  if (reply.code != FTPCode::serviceReady) return failWithReply(reply);
  takesEarlyData_ = FTPGreetingNamesPatientServer(reply);
  // Few servers still know what RFC 959 has taken from Telnet, and the others would store a doubled byte.
  readsTelnet_ = endpoint_.announcesUTF8 && reply.text.find("ProFTPD") != std::string::npos;
  switch (endpoint_.security.encryption) {
    case FTPEncryption::None:
      return sendUser();
    case FTPEncryption::Explicit:
      return askForEncryption();
    case FTPEncryption::Implicit:
      return encryptData();
  }
}

// Without encryption nothing more is said.
void FTPConnection::askForEncryption() {
  send("AUTH TLS", [this](const FTPReply& reply) {
    if (reply.code != FTPCode::securityDataAccepted) {
      return fail(errorWithoutSecurity("The server does not offer TLS", reply));
    }
    // In the clear anybody on the way can say something; it must not be taken for a reply to what comes later.
    if (!parser_.isEmpty()) {
      return fail(errorWithCode(kCFURLErrorSecureConnectionFailed,
                                "Something was sent in the clear between the reply to AUTH TLS and the handshake."));
    }
    encrypt([this] { encryptData(); });
  });
}

void FTPConnection::encrypt(std::function<void()> whenDone) {
  socket_.encrypt(peer_, TLSChannel::Use::Control);
  whenEncrypted_ = std::move(whenDone);
  expectReplyWithin(limits_.reply);
  shakeHands();
}

void FTPConnection::shakeHands() {
  switch (socket_.shakeHands()) {
    case FTPSocket::Progress::WaitsToRead:
      return source_->setEvents(foundation::DescriptorSource::Readable);
    case FTPSocket::Progress::WaitsToWrite:
      return source_->setEvents(foundation::DescriptorSource::Writable);
    case FTPSocket::Progress::Failed:
      return fail(socket_.errorOf(errno));
    case FTPSocket::Progress::Done:
      break;
  }
  source_->setEvents(foundation::DescriptorSource::Readable);
  expectNoReply();
  std::exchange(whenEncrypted_, nullptr)();
}

// The first command has only one possible argument here, and says nothing by itself; servers that do without it refuse
// it.
void FTPConnection::encryptData() {
  send("PBSZ 0", [this](const FTPReply&) {
    send("PROT P", [this](const FTPReply& reply) {
      if (!reply.isCompletion()) return fail(errorWithoutSecurity("The server does not encrypt data", reply));
      sendUser();
    });
  });
}

void FTPConnection::sendUser() {
  send("USER " + endpoint_.user, [this](const FTPReply& reply) {
    if (reply.isCompletion()) return askForFeatures();
    if (reply.code != FTPCode::passwordNeeded) return failWithReply(reply);
    sendPassword();
  });
}

void FTPConnection::sendPassword() {
  send("PASS " + endpoint_.password,
       [this](const FTPReply& reply) { reply.isCompletion() ? askForFeatures() : failWithReply(reply); });
}

void FTPConnection::askForFeatures() {
  if (!endpoint_.announcesUTF8) return sendType();
  send("FEAT", [this](const FTPReply& reply) {
    const bool hasUTF8 = reply.isCompletion() && reply.text.find("UTF8") != std::string::npos;
    hasUTF8 ? announceUTF8() : sendType();
  });
}

// A server that does not want to hear it takes the names as they are anyway.
void FTPConnection::announceUTF8() {
  send("OPTS UTF8 ON", [this](const FTPReply&) { sendType(); });
}

void FTPConnection::sendType() {
  send("TYPE I", [this](const FTPReply& reply) {
    if (!reply.isCompletion()) return failWithReply(reply);
    state_ = State::LoggedIn;
    delegate_->connectionDidLogIn();
  });
}

void FTPConnection::send(const std::string& line, ReplyHandler finalHandler, ReplyHandler preliminaryHandler) {
  if (isClosed()) return;
  pending_ = Command{line.substr(0, line.find(' ')), std::move(finalHandler), std::move(preliminaryHandler)};
  unsent_ = (readsTelnet_ ? withDoubledTelnetBytes(line) : line) + "\r\n";
  sendTime_ = Clock::now();
  expectReplyWithin(limits_.reply);
  flush();
}

void FTPConnection::flush() {
  const std::int64_t sent = socket_.write(unsent_.data(), unsent_.size());
  // A failure shows again when the socket is read, together with what the server may have said before it.
  if (sent >= 0) unsent_.erase(0, static_cast<std::size_t>(sent));
  unsigned events = foundation::DescriptorSource::Readable;
  if (sent >= 0 && hasUnsent()) events |= foundation::DescriptorSource::Writable;
  source_->setEvents(events);
}

void FTPConnection::socketReady() {
  const auto keptAlive = shared_from_this();
  if (whenEncrypted_) return shakeHands();
  if (source_->isReadable()) readNow();
  if (!isClosed() && !whenEncrypted_ && hasUnsent()) flush();
}

void FTPConnection::readNow() {
  const auto keptAlive = shared_from_this();
  std::array<char, 16384> buffer;
  // A server that never stops sending does not keep the loop from its other work: the rest waits for the next turn.
  for (int packet = 0; packet < 16 && socket_ && !isClosed() && !whenEncrypted_; ++packet) {
    const std::int64_t size = socket_.read(buffer.data(), buffer.size());
    if (size < 0 && errno == EAGAIN) return;
    if (size < 0) {
      // What is no TLS, or not the server's, has not been closed by it.
      const Loss loss = errno == EPROTO ? Loss::Failed : Loss::ClosedByServer;
      return fail(socket_.errorOf(errno), loss);
    }
    if (size == 0) {
      return fail(errorWithCode(kCFURLErrorNetworkConnectionLost, "The server closed the connection."),
                  Loss::ClosedByServer);
    }
    parser_.append({buffer.data(), static_cast<std::size_t>(size)});
    while (const auto reply = parser_.next()) {
      handle(*reply);
      if (isClosed()) return;
    }
    if (parser_.isDamaged()) {
      return fail(errorWithCode(kCFURLErrorBadServerResponse, "The server sent something that is no FTP reply."));
    }
  }
}

void FTPConnection::handle(const FTPReply& reply) {
  if (isLast(reply)) return fail(errorWithReply(reply), Loss::ClosedByServer);
  if (reply.isPreliminary()) return handlePreliminary(reply);
  if (!pending_) return failWithReply(reply);
  if (belongsElsewhere(reply, pending_->verb)) {
    return fail(errorWithCode(kCFURLErrorBadServerResponse, "The server's replies are out of step: " +
                                                                std::to_string(reply.code) + " " + reply.text));
  }
  measure();
  const ReplyHandler handler = std::move(pending_->finalHandler);
  pending_.reset();
  expectNoReply();
  if (handler) handler(reply);
}

void FTPConnection::handlePreliminary(const FTPReply& reply) {
  if (!pending_ || std::exchange(pending_->isUnderWay, true)) return;
  measure();
  expectReplyWithin(limits_.reply);
  if (const ReplyHandler handler = pending_->preliminaryHandler) handler(reply);
}

void FTPConnection::measure() {
  const bool isOfCommand = !pending_->verb.empty();  // the greeting is not
  if (isOfCommand) roundTrip_ = std::min<decltype(roundTrip_)>(roundTrip_, Clock::now() - sendTime_);
}

// The reply of a program on a busy system takes its time even when it is near, which its system's own answers do not.
// Through a proxy those tell how far away the proxy is.
NSTimeInterval FTPConnection::roundTrip() const {
  const auto ofPackets = throughProxy_ ? std::nullopt : socket_.shortestRoundTrip();
  return std::min(ofPackets.value_or(roundTrip_.count()), roundTrip_.count());
}

void FTPConnection::limitPassed() {
  const auto keptAlive = shared_from_this();
  fail(errorWithCode(kCFURLErrorTimedOut, "The server did not reply in time."));
}

void FTPConnection::quit() {
  if (isQuiet()) {
    constexpr std::string_view line = "QUIT\r\n";
    socket_.write(line.data(), line.size());
    socket_.announceEnd();
  }
  close();
}

void FTPConnection::close() {
  state_ = State::Closed;
  connector_.reset();
  source_.reset();
  expectNoReply();
  pending_.reset();
  whenEncrypted_ = nullptr;
  socket_.close();
}

void FTPConnection::fail(const Ref<NSError>& error, Loss loss) {
  if (isClosed()) return;
  const bool wasOpening = isOpening();
  close();
  delegate_->connectionDidFail(wasOpening ? errorBeforeLogin(error) : error, loss);
}

void FTPConnection::failWithReply(const FTPReply& reply) { fail(errorWithReply(reply)); }

}  // namespace cfnetwork

}  // namespace telvo
