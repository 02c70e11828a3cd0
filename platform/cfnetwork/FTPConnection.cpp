#include "cfnetwork/FTPConnection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>
#include <vector>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "foundation/errors/NSError.h"
#include "foundation/events/NSRunLoop.h"

namespace {

void setOption(int descriptor, int level, int option) {
  const int on = 1;
  setsockopt(descriptor, level, option, &on, sizeof on);
}

bool isTransferCompletion(const FTPReply& reply) { return reply.code == 226 || reply.code == 250; }

// Whether the reply's code belongs to one kind of command only, and to another one than expected.
bool belongsElsewhere(const FTPReply& reply, const std::vector<int>& expected) {
  constexpr std::array telling{213, 226, 227, 229, 250, 257};
  return std::ranges::find(telling, reply.code) != telling.end() &&
         std::ranges::find(expected, reply.code) == expected.end();
}

}  // namespace

void FTPServerHabits::noteOrderlyEnd(bool lingered) {
  if (lingering >= Lingering::Known) return;
  if (!lingered) {
    lingering = Lingering::Unknown;
  } else {
    lingering = lingering == Lingering::Unknown ? Lingering::Suspected : Lingering::Known;
  }
}

void FTPServerHabits::noteReset(bool isWhole, bool isConfirmed) {
  if (lingering == Lingering::Unavoidable) return;
  if (isWhole) {
    lingering = Lingering::Avoidable;
  } else if (lingering == Lingering::Avoidable && !isConfirmed) {
    // A lost packet is enough for that.
    lingering = Lingering::Doubtful;
  } else {
    lingering = Lingering::Unavoidable;
  }
}

FTPConnection::FTPConnection(Ref<NSRunLoop> runLoop, FTPEndpoint endpoint, const FTPLimits& limits)
    : runLoop_(std::move(runLoop)),
      endpoint_(std::move(endpoint)),
      limits_(limits),
      deadline_(runLoop_, [this] { deadlinePassed(); }),
      idle_(runLoop_, [this] { quit(); }) {}

FTPConnection::~FTPConnection() = default;

void FTPConnection::setDelegate(Delegate* delegate) {
  delegate_ = delegate;
  if (delegate_) {
    idle_.cancel();
    return;
  }
  for (Command& command : commands_) {
    if (command.ofDelegate) command.handler = nullptr;
  }
  portHandler_ = nullptr;
  idle_.fireAfter(limits_.idle);
}

void FTPConnection::open() {
  state_ = State::Connecting;
  connector_ = cfnetwork::SocketConnector::connectToHost(
      runLoop_, endpoint_.host, endpoint_.port, endpoint_.route, limits_.connect,
      [this](cfnetwork::SocketConnector::Result result) { connected(std::move(result)); });
}

void FTPConnection::connected(cfnetwork::SocketConnector::Result result) {
  const auto keptAlive = shared_from_this();
  connector_.reset();
  if (!result.descriptor) return fail(result.error);
  socket_ = std::move(result.descriptor);
  throughProxy_ = result.throughProxy;
  setOption(socket_.get(), IPPROTO_TCP, TCP_NODELAY);
  setOption(socket_.get(), SOL_SOCKET, SO_KEEPALIVE);
  state_ = State::LoggingIn;
  commands_.push_back({Kind::Plain, false, [this](const FTPReply& reply) { greet(reply); }, false});
  source_.emplace(runLoop_, socket_.get(), foundation::DescriptorSource::Readable, [this] { socketReady(); });
  armDeadline();
}

void FTPConnection::greet(const FTPReply& reply) {
  if (reply.code != 220) return fail(cfnetwork::errorWithReply(reply));
  logIn();
}

void FTPConnection::logIn() {
  send("USER " + endpoint_.user, Kind::Plain, [this](const FTPReply& reply) {
    if (reply.isCompletion()) return prepareForTransfers();
    if (reply.code != 331) return fail(cfnetwork::errorWithReply(reply));
    logInWithPassword();
  });
}

void FTPConnection::logInWithPassword() {
  enqueue("PASS " + endpoint_.password, Kind::Plain, [this](const FTPReply& reply) {
    if (!reply.isCompletion()) fail(cfnetwork::errorWithReply(reply));
  });
  // What follows the login is sent along with it: a server that refuses the password refuses these too.
  prepareForTransfers();
}

void FTPConnection::prepareForTransfers() {
  enqueue("TYPE I", Kind::Plain, [this](const FTPReply& reply) { loggedIn(reply); });
  if (isPassive()) return sendPassiveRequest(Kind::Plain);
  flush();
}

void FTPConnection::loggedIn(const FTPReply& reply) {
  if (!reply.isCompletion()) return fail(cfnetwork::errorWithReply(reply));
  state_ = State::LoggedIn;
  if (delegate_) delegate_->connectionDidLogIn();
}

void FTPConnection::quit() {
  if (state_ == State::Failed) return;
  if (socket_ && commands_.empty()) {
    constexpr std::string_view line = "QUIT\r\n";
    [[maybe_unused]] const ssize_t sent = ::send(socket_.get(), line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  }
  close();
}

void FTPConnection::close() {
  state_ = State::Failed;
  delegate_ = nullptr;
  connector_.reset();
  source_.reset();
  deadline_.cancel();
  idle_.cancel();
  socket_.close();
}

void FTPConnection::fail(const Ref<NSError>& error) {
  if (state_ == State::Failed) return;
  Delegate* const delegate = delegate_;
  // A refusal that could not be assigned yet says more than the connection's end that followed it.
  const Ref<NSError> reason = held_ ? cfnetwork::errorWithReply(*held_) : error;
  // A command that came during a transfer and has not been answered after it may have been too much for the server.
  if (!commands_.empty() && commands_.front().kind == Kind::BehindTransfer) habits_.order = Order::Broken;
  close();
  commands_.clear();
  portHandler_ = nullptr;
  if (delegate) delegate->connectionDidFail(reason);
}

// A server that passes over a command, or answers one twice, gives each later command the reply to another one.
void FTPConnection::failOutOfStep(const FTPReply& reply) {
  fail(cfnetwork::errorWithCode(kCFURLErrorBadServerResponse, "The server's replies are out of step: " +
                                                                  std::to_string(reply.code) + " " + reply.text));
}

FTPConnection::ReplyHandler FTPConnection::checked(ReplyHandler handler, std::vector<int> expected) {
  return [this, handler = std::move(handler), codes = std::move(expected)](const FTPReply& reply) {
    if (belongsElsewhere(reply, codes)) return failOutOfStep(reply);
    if (handler) handler(reply);
  };
}

bool FTPConnection::isReusable() {
  const auto keptAlive = shared_from_this();
  if (state_ == State::LoggedIn) receive();
  if (state_ == State::Failed || state_ == State::Idle) return false;
  for (const Command& command : commands_) {
    if (command.kind == Kind::Transfer) return false;
  }
  return true;
}

void FTPConnection::enqueue(const std::string& line, Kind kind, ReplyHandler handler, bool ofDelegate) {
  if (state_ == State::Failed) return;
  commands_.push_back({kind, ofDelegate, std::move(handler), false});
  unsent_ += line;
  unsent_ += "\r\n";
  if (commands_.size() == 1) armDeadline();
}

void FTPConnection::send(const std::string& line, Kind kind, ReplyHandler handler, bool ofDelegate) {
  enqueue(line, kind, std::move(handler), ofDelegate);
  flush();
}

void FTPConnection::flush() {
  while (socket_ && !unsent_.empty()) {
    const ssize_t sent = ::send(socket_.get(), unsent_.data(), unsent_.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    // A failure shows again when the socket is read, together with what the server may have said before it.
    if (sent < 0) break;
    unsent_.erase(0, static_cast<std::size_t>(sent));
  }
  watch();
}

void FTPConnection::watch() {
  if (!source_) return;
  unsigned events = foundation::DescriptorSource::Readable;
  if (!unsent_.empty()) events |= foundation::DescriptorSource::Writable;
  source_->setEvents(events);
}

void FTPConnection::socketReady() {
  const auto keptAlive = shared_from_this();
  if (source_->isReadable() && !receive()) return;
  if (state_ != State::Failed && !unsent_.empty()) flush();
}

// Reads and handles what is there. False when the connection is over.
bool FTPConnection::receive() {
  std::array<char, 16384> buffer;
  // A server that never stops sending does not keep the loop from its other work: the rest waits for the next turn.
  for (int packet = 0; packet < 16; ++packet) {
    const ssize_t size = ::recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
    if (size < 0) {
      fail(NSError::errorWithPOSIXCode(errno));
      return false;
    }
    if (size == 0) {
      fail(cfnetwork::errorWithCode(kCFURLErrorNetworkConnectionLost, "The server closed the connection."));
      return false;
    }
    parser_.append({buffer.data(), static_cast<std::size_t>(size)});
    while (const auto reply = parser_.next()) {
      handle(*reply);
      if (state_ == State::Failed) return false;
    }
    if (parser_.isDamaged()) {
      fail(cfnetwork::errorWithCode(kCFURLErrorBadServerResponse, "The server sent something that is no FTP reply."));
      return false;
    }
  }
  return true;
}

void FTPConnection::handle(const FTPReply& reply) {
  // "Service not available, closing control connection": the answer to whatever was asked.
  if (reply.code == 421) return fail(cfnetwork::errorWithReply(reply));
  if (commands_.empty()) {
    if (reply.isPreliminary()) return;
    return fail(cfnetwork::errorWithReply(reply));
  }
  Command& front = commands_.front();
  if (reply.isPreliminary()) {
    if (std::exchange(front.preliminarySeen, true)) return;
    armDeadline();
    if (front.kind == Kind::Transfer && front.handler) {
      const ReplyHandler handler = front.handler;
      handler(reply);
    }
    return;
  }
  if (front.kind == Kind::Transfer && commands_.size() > 1 && commands_[1].kind == Kind::BehindTransfer) {
    return handleDuringTransfer(reply);
  }
  finish(takeCommand(0), reply);
}

// A transfer is under way and another command was sent behind it. A server that keeps the order answers the transfer
// first; others answer the second one at once, and the codes tell which is which.
void FTPConnection::handleDuringTransfer(const FTPReply& reply) {
  if (held_) {
    const FTPReply first = *std::exchange(held_, std::nullopt);
    const bool overtaken = isTransferCompletion(reply);
    const Command transfer = takeCommand(0);
    const Command behind = takeCommand(0);
    if (overtaken) habits_.order = Order::Broken;
    finish(behind, overtaken ? first : reply);
    if (state_ == State::Failed) return;
    finish(transfer, overtaken ? reply : first);
    return;
  }
  if (isTransferCompletion(reply) && transferSent_) {
    transferCompletedFirst_ = true;
    return finish(takeCommand(0), reply);
  }
  if (reply.isCompletion()) {
    const Command behind = takeCommand(1);
    orderBroken();
    return finish(behind, reply);
  }
  if (!mayBeOfCommandBehind(reply)) return finish(takeCommand(0), reply);
  held_ = reply;
  armDeadline();
}

// Whether a refusal that comes during a transfer may be the answer to the command that was sent behind it.
bool FTPConnection::mayBeOfCommandBehind(const FTPReply& reply) const {
  if (habits_.order == Order::Kept) return false;
  return habits_.order != Order::Unknown || reply.isOfUnusableCommand() || reply.code == 530;
}

void FTPConnection::orderBroken() {
  // The question that finds the order out harms no transfer; the request for a port may.
  const bool isHarmful = std::exchange(habits_.order, Order::Broken) != Order::Unknown;
  if (isHarmful && delegate_) delegate_->connectionDidOvertakeTransfer();
}

FTPConnection::Command FTPConnection::takeCommand(std::size_t index) {
  Command command = std::move(commands_[index]);
  commands_.erase(commands_.begin() + static_cast<std::ptrdiff_t>(index));
  if (index == 0) armDeadline();
  return command;
}

void FTPConnection::finish(const Command& command, const FTPReply& reply) {
  if (command.handler) command.handler(reply);
}

void FTPConnection::armDeadline() {
  if (commands_.empty()) return deadline_.cancel();
  const Command& front = commands_.front();
  // While data flows, the data connection's limit of progress watches over the transfer.
  if (front.kind == Kind::Transfer && front.preliminarySeen && !transferDrained_) return deadline_.cancel();
  deadline_.fireAfter(limits_.reply);
}

void FTPConnection::deadlinePassed() {
  const auto keptAlive = shared_from_this();
  fail(cfnetwork::errorWithCode(kCFURLErrorTimedOut, "The server did not reply in time."));
}

void FTPConnection::makeFolder(const std::string& path, ReplyHandler handler) {
  enqueue("MKD " + path, Kind::Plain, checked(std::move(handler), {250, 257}), true);
  // Not PASV: a server that is so old may well wait for the data connection before it goes on.
  if (isPassive() && extendedPassive_ && !portRequested_ && port_ == 0) return sendPassiveRequest(Kind::Plain);
  flush();
}

void FTPConnection::requestPassivePort(PortHandler handler) {
  const std::chrono::duration<NSTimeInterval> age = std::chrono::steady_clock::now() - portTime_;
  if (port_ != 0 && age.count() < limits_.port) {
    portFromAhead_ = true;
    return handler(std::exchange(port_, 0), nil);
  }
  port_ = 0;
  portFromAhead_ = portRequested_;
  portHandler_ = std::move(handler);
  if (!portRequested_) sendPassiveRequest(Kind::Plain);
}

void FTPConnection::sendPassiveRequest(Kind kind) {
  portRequested_ = true;
  const bool extended = extendedPassive_;
  const bool ahead = kind == Kind::BehindTransfer;
  send(extended ? "EPSV" : "PASV", kind,
       [this, extended, ahead](const FTPReply& reply) { passiveReply(reply, extended, ahead); });
}

void FTPConnection::passiveReply(const FTPReply& reply, bool extended, bool ahead) {
  if (belongsElsewhere(reply, {extended ? 229 : 227})) return failOutOfStep(reply);
  portRequested_ = false;
  const auto port = extended ? FTPPortFromExtendedPassiveReply(reply) : FTPPortFromPassiveReply(reply);
  if (port) {
    if (ahead && habits_.order == Order::Likely) habits_.order = Order::Kept;
    return givePort(*port, nil);
  }
  // A refusal during a transfer says nothing about the command: some servers refuse everything then.
  if (extended && !ahead) extendedPassive_ = false;
  if (!portHandler_) return;
  if (extended || ahead) return sendPassiveRequest(Kind::Plain);
  givePort(0, cfnetwork::errorWithReply(reply));
}

void FTPConnection::givePort(std::uint16_t port, const Ref<NSError>& error) {
  if (const PortHandler handler = std::exchange(portHandler_, nullptr)) return handler(port, error);
  port_ = port;
  portTime_ = std::chrono::steady_clock::now();
}

void FTPConnection::requestActiveMode(const cfnetwork::SocketAddress& address, ReplyHandler handler) {
  const std::string host = address.host();
  if (extendedActive_) {
    const std::string line =
        std::string("EPRT |") + (address.isIPv6() ? "2|" : "1|") + host + "|" + std::to_string(address.port()) + "|";
    send(
        line, Kind::Plain,
        [this, address, handler](const FTPReply& reply) {
          if (!reply.isRefusal() || address.isIPv6()) return handler(reply);
          extendedActive_ = false;
          requestActiveMode(address, handler);
        },
        true);
    return;
  }
  std::string numbers = host;
  for (char& character : numbers) {
    if (character == '.') character = ',';
  }
  send("PORT " + numbers + "," + std::to_string(address.port() / 256) + "," + std::to_string(address.port() % 256),
       Kind::Plain, std::move(handler), true);
}

// What is asked behind a transfer goes out in one packet with it. Servers that work through their commands one by one
// then have it in their buffer and answer it after the transfer; in a packet of its own, some of them would refuse it.
// Others answer at once, and a request for a port makes those break the transfer off. So the first transfer is
// followed by a harmless command, and only a server that has kept the order is asked for ports ahead of time.
void FTPConnection::store(const std::string& path, bool isRepeatable, ReplyHandler handler) {
  transferSent_ = false;
  transferDrained_ = false;
  transferCompletedFirst_ = false;
  enqueue("STOR " + path, Kind::Transfer, checked(std::move(handler), {226, 250}), true);
  const bool mayAsk = habits_.order == Order::Kept || (habits_.order == Order::Likely && isRepeatable);
  if (isPassive() && habits_.order == Order::Unknown) {
    sendProbe();
  } else if (isPassive() && mayAsk && !portRequested_ && port_ == 0) {
    sendPassiveRequest(Kind::BehindTransfer);
  } else {
    flush();
  }
}

void FTPConnection::sendProbe() {
  send("NOOP", Kind::BehindTransfer, [this](const FTPReply& reply) {
    // The answer to what was asked next: the server passes over what comes during a transfer.
    const bool isFolderRefused = reply.code == 521 || reply.code == 550 || reply.code == 553;
    if (isFolderRefused || belongsElsewhere(reply, {250})) {
      habits_.order = Order::Broken;
      return commands_.empty() ? failOutOfStep(reply) : handle(reply);
    }
    if (transferCompletedFirst_ && reply.isCompletion() && habits_.order == Order::Unknown)
      habits_.order = Order::Likely;
  });
}

void FTPConnection::requestSize(const std::string& path, ReplyHandler handler) {
  send("SIZE " + path, Kind::Plain, std::move(handler), true);
}

void FTPConnection::transferSent() { transferSent_ = true; }

void FTPConnection::transferDrained() {
  transferDrained_ = true;
  armDeadline();
}
