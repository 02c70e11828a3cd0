#include "cfnetwork/FTPWriteStream.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "cfnetwork/CFFTPStream.h"
#include "cfnetwork/CFNetworkErrors.h"
#include "cfnetwork/FTPConnectionPool.h"
#include "foundation/NSArray.h"
#include "foundation/NSDate.h"
#include "foundation/NSDictionary.h"
#include "foundation/NSError.h"
#include "foundation/NSNumber.h"
#include "foundation/NSRunLoop.h"
#include "foundation/NSString.h"
#include "foundation/NSURL.h"

namespace {

// So much of a file is kept until the server has confirmed it, so that a transfer can be repeated unseen. One
// transfer buffer of the usual writer fits.
constexpr std::size_t keptLimit = 512000;

// A writer that is never out of room gives the run loop its turn after so many bytes.
constexpr std::size_t turnLimit = 8 << 20;

constexpr NSTimeInterval longestTurn = 0.1;
constexpr NSTimeInterval longestReasonWait = 2;
constexpr NSTimeInterval momentForOvertaking = 0.1;

int hexadecimalValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

std::string withoutEscapes(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int high = text[i] == '%' && i + 2 < text.size() ? hexadecimalValue(text[i + 1]) : -1;
    const int low = high >= 0 ? hexadecimalValue(text[i + 2]) : -1;
    if (low < 0) {
      decoded.push_back(text[i]);
      continue;
    }
    decoded.push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return decoded;
}

bool breaksLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

// The name that the server gets: what follows the host and one slash (RFC 1738, section 3.2), so that
// "ftp://host//name" is "/name". "?" and "#" mean nothing in FTP and belong to the name.
std::string remotePath(const NSURL& url) {
  std::string text = url.absoluteString()->UTF8String();
  text.erase(0, text.find("//") + 2);
  text.erase(0, std::min(text.find('/'), text.size() - 1) + 1);
  return withoutEscapes(text);
}

std::string bytesOf(const Ref<NSString>& text) { return text ? text->UTF8String() : std::string(); }

cfnetwork::Route routeFrom(const id& settings) {
  cfnetwork::Route route;
  const auto dictionary = as<NSDictionary>(settings);
  if (!dictionary) return route;
  route.useProxies = true;
  route.proxy = bytesOf(as<NSString>(dictionary->objectForKey("FTPProxy"_ns)));
  if (const auto exceptions = as<NSArray>(dictionary->objectForKey("ExceptionsList"_ns))) {
    for (const id& exception : *exceptions) route.exceptions.push_back(bytesOf(as<NSString>(exception)));
  }
  return route;
}

}  // namespace

Class FTPWriteStream::classObject() {
  static const NSClass object("FTPWriteStream", NSOutputStream::classObject(), {});
  return &object;
}

FTPWriteStream::FTPWriteStream(Ref<NSURL> url) : url_(std::move(url)) {}

FTPWriteStream::~FTPWriteStream() { letGo(); }

id FTPWriteStream::propertyForKey(const Ref<NSString>& key) const {
  if (NSEqualObjects(key, kCFStreamPropertyFTPUserName())) return userName_;
  if (NSEqualObjects(key, kCFStreamPropertyFTPPassword())) return password_;
  if (NSEqualObjects(key, kCFStreamPropertyFTPProxy())) return proxies_;
  if (NSEqualObjects(key, kCFStreamPropertyFTPUsePassiveMode())) return NSNumber::numberWithBool(passive_);
  return nil;
}

bool FTPWriteStream::setProperty_forKey(const id& property, const Ref<NSString>& key) {
  if (phase_ != Phase::Idle) return false;
  if (NSEqualObjects(key, kCFStreamPropertyFTPUserName())) {
    userName_ = as<NSString>(property);
  } else if (NSEqualObjects(key, kCFStreamPropertyFTPPassword())) {
    password_ = as<NSString>(property);
  } else if (NSEqualObjects(key, kCFStreamPropertyFTPProxy())) {
    proxies_ = property;
  } else if (NSEqualObjects(key, kCFStreamPropertyFTPUsePassiveMode())) {
    // Settings that do not say choose the mode that works from behind a firewall.
    passive_ = !property || foundation::boolFromObject(property);
  } else {
    return false;
  }
  return true;
}

Ref<NSRunLoop> FTPWriteStream::loop() const { return runLoop() ? runLoop() : NSRunLoop::currentRunLoop(); }

void FTPWriteStream::open() {
  if (phase_ != Phase::Idle) return;
  phase_ = Phase::Preparing;
  setStatus(NSStreamStatusOpening);
  // Nothing is sent before the next turn: a writer whose source cannot be read closes the stream before that, and the
  // file on the server stays what it was.
  starter_ = std::make_unique<foundation::SignalSource>(loop(), [this] { start(); });
  starter_->signal();
}

void FTPWriteStream::start() {
  const Ref<NSStream> keptAlive(this);
  if (const Ref<NSError> error = prepareEndpoint()) return failWith(error);
  useConnection();
}

Ref<NSError> FTPWriteStream::prepareEndpoint() {
  const bool ownLogin = userName_ && userName_->length() > 0;
  endpoint_.host = bytesOf(url_->host());
  endpoint_.port = url_->port() ? static_cast<std::uint16_t>(url_->port()->unsignedIntegerValue()) : 21;
  endpoint_.user = bytesOf(ownLogin ? userName_ : url_->user());
  endpoint_.password = bytesOf(ownLogin ? password_ : url_->password());
  if (endpoint_.user.empty()) {
    endpoint_.user = "anonymous";
    endpoint_.password = "anonymous@";
  }
  endpoint_.route = routeFrom(proxies_);
  endpoint_.passive = passive_;
  path_ = remotePath(*url_);
  isFolder_ = path_.ends_with('/');
  if (isFolder_) path_.pop_back();
  if (breaksLine(path_) || breaksLine(endpoint_.user) || breaksLine(endpoint_.password) || breaksLine(endpoint_.host)) {
    return cfnetwork::errorWithCode(kCFURLErrorBadURL, "A carriage return, line feed or NUL cannot be sent over FTP.");
  }
  return nil;
}

void FTPWriteStream::useConnection() {
  connection_ = FTPConnectionPool::ofThread().take(endpoint_);
  if (!connection_) return openConnection();
  fromPool_ = true;
  connection_->setDelegate(this);
  if (connection_->isLoggedIn()) transfer();
}

void FTPWriteStream::openConnection() {
  fromPool_ = false;
  connection_ = std::make_shared<FTPConnection>(loop(), endpoint_, limits_);
  connection_->setDelegate(this);
  connection_->setOrder(FTPConnectionPool::ofThread().knownOrder(endpoint_));
  connection_->open();
}

void FTPWriteStream::connectionDidLogIn() {
  const Ref<NSStream> keptAlive(this);
  transfer();
}

// One attempt at the item on the connection in use; a second one begins with the data that was taken already.
void FTPWriteStream::transfer() {
  phase_ = Phase::Transferring;
  acceptTimer_.reset();
  accepted_ = false;
  dataEnded_ = false;
  pending_ = kept_;
  channel_.reset();
  if (isFolder_) {
    storeSent_ = true;
    connection_->makeFolder(path_, [this](const FTPReply& reply) { folderReply(reply); });
  } else if (passive_ || connection_->isThroughProxy()) {
    connectPassively();
  } else {
    listenActively();
  }
}

void FTPWriteStream::folderReply(const FTPReply& reply) {
  storeSent_ = false;
  if (!reply.isCompletion()) return failWith(cfnetwork::errorWithReply(reply));
  opened_ = true;
  setStatus(NSStreamStatusOpen);
  signal(NSStreamEventOpenCompleted);
  // A folder has no data, but its writer learns from this event that it can end.
  signal(NSStreamEventHasSpaceAvailable);
}

std::unique_ptr<FTPDataChannel> FTPWriteStream::makeChannel() {
  FTPDataChannel::Delegate& delegate = *this;
  return std::make_unique<FTPDataChannel>(loop(), limits_, delegate);
}

void FTPWriteStream::connectPassively() {
  connection_->requestPassivePort([this](std::uint16_t port, const Ref<NSError>& error) {
    if (port == 0) return failWith(error);
    channel_ = makeChannel();
    channel_->connect(*connection_, port);
    // Without waiting for the data connection: both take the same round trip.
    sendStore();
  });
}

void FTPWriteStream::listenActively() {
  channel_ = makeChannel();
  const auto address = channel_->listen(*connection_);
  if (!address) return failWith(NSError::errorWithPOSIXCode(errno));
  connection_->requestActiveMode(*address, [this](const FTPReply& reply) {
    if (!reply.isCompletion()) return failWith(cfnetwork::errorWithReply(reply));
    sendStore();
  });
}

void FTPWriteStream::sendStore() {
  storeSent_ = true;
  connection_->store(path_, [this](const FTPReply& reply) { storeReply(reply); });
}

// A server that is asked for the next port behind its first transfer, and does not wait for its turn, answers at once.
// Until that has not happened for a moment, no data leaves that could not be sent once more.
void FTPWriteStream::transferAccepted() {
  const auto accept = [this] {
    const Ref<NSStream> keptAlive(this);
    accepted_ = true;
    proceed();
  };
  if (connection_->order() != FTPConnection::Order::Kept || connection_->isOrderProven()) return accept();
  acceptTimer_ = std::make_unique<foundation::TimerSource>(loop(), accept);
  acceptTimer_->fireAfter(momentForOvertaking);
}

void FTPWriteStream::storeReply(const FTPReply& reply) {
  if (reply.isPreliminary()) {
    return transferAccepted();
  }
  storeSent_ = false;
  if (!reply.isCompletion()) return failWith(cfnetwork::errorWithReply(reply));
  if (failure_) return failWith(failure_);
  if (!dataEnded_) {
    return failWith(cfnetwork::errorWithCode(kCFURLErrorNetworkConnectionLost,
                                             "The server ended the transfer before all data was sent."));
  }
  finish();
}

// The server has given the next port in the middle of the transfer. All data is sent once more on a connection of its
// own, since this transfer's reply may be owed for ever.
void FTPWriteStream::connectionDidOvertakeTransfer() {
  const Ref<NSStream> keptAlive(this);
  FTPConnectionPool::ofThread().rememberOrder(endpoint_, FTPConnection::Order::Broken);
  if (canRepeat()) return replaceConnection();
  failWith(cfnetwork::errorWithCode(kCFURLErrorBadServerResponse, "The server answered out of turn."));
}

void FTPWriteStream::connectionDidFail(const Ref<NSError>& error) {
  const Ref<NSStream> keptAlive(this);
  if (mayStartOver()) return startOver();
  failWith(failure_ ? failure_ : error);
}

// A kept connection that has died since, or a port asked for ahead of time that is no longer open, is replaced unseen:
// once, and only while the server has stored nothing and all data so far is still here.
bool FTPWriteStream::mayStartOver() const {
  return fromPool_ && !startedOver_ && !accepted_ && !failure_ && canRepeat();
}

void FTPWriteStream::startOver() {
  startedOver_ = true;
  replaceConnection();
}

void FTPWriteStream::replaceConnection() {
  storeSent_ = false;
  acceptTimer_.reset();
  cancel(NSStreamEventHasSpaceAvailable);
  channel_.reset();
  connection_->close();
  openConnection();
}

void FTPWriteStream::dataChannelDidConnect() {
  const Ref<NSStream> keptAlive(this);
  if (!std::exchange(opened_, true)) {
    setStatus(NSStreamStatusOpen);
    signal(NSStreamEventOpenCompleted);
  }
  proceed();
}

void FTPWriteStream::dataChannelHasSpace() {
  const Ref<NSStream> keptAlive(this);
  proceed();
}

void FTPWriteStream::dataChannelDidDrain() { connection_->transferProgressed(); }

void FTPWriteStream::dataChannelDidFail(const Ref<NSError>& error) {
  const Ref<NSStream> keptAlive(this);
  channel_.reset();
  if (connection_->isPortFromAhead() && mayStartOver()) return startOver();
  waitForReason(error);
}

// The data connection has room, or what the stream waited for has come: sends what is pending, ends the data when
// the writer has, and otherwise asks the writer for more.
void FTPWriteStream::proceed() {
  if (!channel_ || !channel_->hasSpace() || failure_) return;
  while (!pending_.empty() && channel_->hasSpace()) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(pending_.data());
    const std::int64_t sent = channel_->send(bytes, pending_.size());
    if (sent < 0) {
      const Ref<NSError> error = NSError::errorWithPOSIXCode(errno);
      channel_.reset();
      return mayStartOver() ? startOver() : waitForReason(error);
    }
    pending_.erase(0, static_cast<std::size_t>(sent));
  }
  if (!pending_.empty()) return;
  if (ending_) return endData();
  sinceEvent_ = 0;
  if (room() > 0) signal(NSStreamEventHasSpaceAvailable);
}

// How many bytes may be taken from the writer: nothing that could not be sent once more leaves before the server has
// begun to store.
std::size_t FTPWriteStream::room() const {
  if (accepted_) return turnLimit;
  return written_ < keptLimit ? keptLimit - static_cast<std::size_t>(written_) : 0;
}

bool FTPWriteStream::hasSpaceAvailable() const {
  if (phase_ != Phase::Transferring || !opened_ || ending_ || failure_) return false;
  if (isFolder_) return true;
  return channel_ && channel_->hasSpace() && pending_.empty() && room() > 0 && sinceEvent_ < turnLimit;
}

NSInteger FTPWriteStream::write_maxLength(const std::uint8_t* bytes, NSUInteger length) {
  if (phase_ != Phase::Transferring || !opened_ || ending_ || failure_ || isFolder_) {
    return length == 0 && phase_ == Phase::Transferring ? 0 : -1;
  }
  if (length == 0) return 0;
  // What is offered is never refused for want of room: a writer that was told of room has read its data already. At
  // least a part of it is taken, to be sent later.
  constexpr std::size_t smallest = 65536;
  std::size_t size = std::min<std::size_t>(length, std::max(room(), smallest));
  bool connectionDied = false;
  std::int64_t sent = 0;
  if (pending_.empty() && channel_ && channel_->hasSpace()) sent = channel_->send(bytes, size);
  if (sent < 0) {
    connectionDied = mayStartOver();
    if (!connectionDied) {
      const Ref<NSError> error = NSError::errorWithPOSIXCode(errno);
      channel_.reset();
      waitForReason(error);
      return -1;
    }
  }
  if (sent > 0) {
    size = static_cast<std::size_t>(sent);
  } else {
    size = std::min(size, smallest);
    pending_.append(reinterpret_cast<const char*>(bytes), size);
  }
  keep(bytes, size);
  sinceEvent_ += size;
  if (connectionDied) {
    startOver();
  } else if (sinceEvent_ >= turnLimit && channel_ && channel_->hasSpace()) {
    channel_->askForSpace();
  }
  return static_cast<NSInteger>(size);
}

void FTPWriteStream::keep(const std::uint8_t* bytes, std::size_t length) {
  const bool complete = canRepeat();
  written_ += length;
  if (complete && written_ <= keptLimit) {
    kept_.append(reinterpret_cast<const char*>(bytes), length);
  } else if (!kept_.empty()) {
    std::string().swap(kept_);
  }
}

void FTPWriteStream::endData() {
  dataEnded_ = true;
  channel_->close();
  connection_->transferSent();
}

void FTPWriteStream::close() {
  const Ref<NSStream> keptAlive(this);
  if (waiting_) {
    closedAgain_ = true;
    return;
  }
  const bool complete = phase_ == Phase::Transferring && opened_ && !failure_ && !isInterrupted();
  if (complete && isFolder_) {
    finish();
  } else if (complete) {
    waitForEnd();
  }
  letGo();
  cancelAllEvents();
  setStatus(NSStreamStatusClosed);
}

void FTPWriteStream::waitForEnd() {
  waiting_ = true;
  ending_ = true;
  cancel(NSStreamEventHasSpaceAvailable);
  proceed();
  try {
    const Ref<NSRunLoop> runLoop = loop();
    while (phase_ != Phase::Over && !isInterrupted()) {
      runLoop->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(longestTurn));
    }
  } catch (...) {
    waiting_ = false;
    letGo();
    throw;
  }
  waiting_ = false;
  if (streamStatus() == NSStreamStatusError) deliverIfWaiting(NSStreamEventErrorOccurred);
}

// The data connection is gone. The server usually says why; when it does not in a short while, the error is told.
void FTPWriteStream::waitForReason(const Ref<NSError>& error) {
  if (!storeSent_) return failWith(error);
  failure_ = error;
  cancel(NSStreamEventHasSpaceAvailable);
  reasonTimer_ = std::make_unique<foundation::TimerSource>(loop(), [this] {
    const Ref<NSStream> keptAlive(this);
    failWith(failure_);
  });
  reasonTimer_->fireAfter(std::min(longestReasonWait, limits_.reply));
}

void FTPWriteStream::finish() {
  phase_ = Phase::Over;
  letGo();
}

void FTPWriteStream::failWith(const Ref<NSError>& error) {
  if (phase_ == Phase::Over) return;
  phase_ = Phase::Over;
  letGo();
  fail(error);
}

// Ends all use of the network: a transfer under way is broken off, and a connection that is at rest goes to the pool.
void FTPWriteStream::letGo() {
  phase_ = Phase::Over;
  starter_.reset();
  acceptTimer_.reset();
  reasonTimer_.reset();
  channel_.reset();
  const auto connection = std::exchange(connection_, nullptr);
  if (!connection) return;
  connection->setDelegate(nullptr);
  if (storeSent_) {
    connection->close();
  } else {
    FTPConnectionPool::ofThread().give(connection);
  }
}
