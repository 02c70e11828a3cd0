#include "cfnetwork/FTPWriteStream.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <utility>
#include <vector>

#include "cfnetwork/CFFTPStream.h"
#include "cfnetwork/CFNetworkErrors.h"
#include "cfnetwork/FTPConnectionPool.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSError.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/files/NSURL.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"

namespace {

using EarlyData = FTPServerHabits::EarlyData;
using Lingering = FTPServerHabits::Lingering;
using Order = FTPServerHabits::Order;

// So much of a file is kept until the server has confirmed it, so that a transfer can be repeated unseen. One
// transfer buffer of the usual writer fits.
constexpr std::size_t keptLimit = 512000;

// A writer that is never out of room gives the run loop its turn after so many bytes.
constexpr std::size_t turnLimit = 8 << 20;

// What is taken from a writer at least, when there is no room at all.
constexpr std::size_t smallestTake = 65536;

constexpr NSTimeInterval longestTurn = 0.1;
constexpr NSTimeInterval longestReasonWait = 2;
constexpr NSTimeInterval longestEndWait = 0.25;
constexpr NSTimeInterval longestResetWait = 3;

// What surely leaves our system in one go: ten packets (RFC 6928, section 2) of an ordinary link.
constexpr std::uint64_t shortFile = 10 * 1200;

// A round trip that is longer than this is worth saving.
constexpr NSTimeInterval longRoundTrip = 0.002;

Ref<NSError> cutShortError() {
  return cfnetwork::errorWithCode(kCFURLErrorNetworkConnectionLost,
                                  "The server ended the transfer before it had taken all data.");
}

}  // namespace

Class FTPWriteStream::classObject() {
  static const NSClass object("FTPWriteStream", NSOutputStream::classObject(), {});
  return &object;
}

FTPWriteStream::FTPWriteStream(Ref<NSURL> url) : url_(std::move(url)) {}

FTPWriteStream::~FTPWriteStream() { letGo(); }

id FTPWriteStream::propertyForKey(const Ref<NSString>& key) const {
  if (NSEqualObjects(key, kCFStreamPropertyFTPUserName())) return properties_.userName;
  if (NSEqualObjects(key, kCFStreamPropertyFTPPassword())) return properties_.password;
  if (NSEqualObjects(key, kCFStreamPropertyFTPProxy())) return properties_.proxies;
  if (NSEqualObjects(key, kCFStreamPropertyFTPUsePassiveMode())) return NSNumber::numberWithBool(properties_.passive);
  return nil;
}

bool FTPWriteStream::setProperty_forKey(const id& property, const Ref<NSString>& key) {
  if (phase_ != Phase::Idle) return false;
  if (NSEqualObjects(key, kCFStreamPropertyFTPUserName())) {
    properties_.userName = as<NSString>(property);
  } else if (NSEqualObjects(key, kCFStreamPropertyFTPPassword())) {
    properties_.password = as<NSString>(property);
  } else if (NSEqualObjects(key, kCFStreamPropertyFTPProxy())) {
    properties_.proxies = property;
  } else if (NSEqualObjects(key, kCFStreamPropertyFTPUsePassiveMode())) {
    // Settings that do not say choose the mode that works from behind a firewall.
    properties_.passive = !property || foundation::boolFromObject(property);
  } else {
    return false;
  }
  return true;
}

Ref<NSRunLoop> FTPWriteStream::loop() const { return runLoop() ? runLoop() : NSRunLoop::currentRunLoop(); }

const FTPLimits& FTPWriteStream::limits() const { return limits_ ? *limits_ : FTPConnectionPool::ofThread().limits(); }

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
  if (const Ref<NSError> error = FTPItemFromURL(url_, properties_, item_)) return failWith(error);
  useConnection();
}

void FTPWriteStream::useConnection() {
  connection_ = FTPConnectionPool::ofThread().take(item_.endpoint);
  if (!connection_) return openConnection();
  fromPool_ = true;
  connection_->setDelegate(this);
  connection_->setLimits(limits());
  if (connection_->isLoggedIn()) transfer();
}

void FTPWriteStream::openConnection() {
  fromPool_ = false;
  connection_ = std::make_shared<FTPConnection>(loop(), item_.endpoint, limits());
  connection_->setDelegate(this);
  connection_->habits() = FTPConnectionPool::ofThread().knownHabits(item_.endpoint);
  connection_->open();
}

void FTPWriteStream::connectionDidLogIn() {
  const Ref<NSStream> keptAlive(this);
  transfer();
}

// One attempt at the item on the connection in use; a second one begins with the data that was taken already.
void FTPWriteStream::transfer() {
  phase_ = Phase::Transferring;
  attempt_ = {};
  attempt_.pending = kept_;
  if (item_.isFolder) {
    connection_->makeFolder(item_.path, [this](const FTPReply& reply) { folderReply(reply); });
  } else if (properties_.passive || connection_->isThroughProxy()) {
    connectPassively();
  } else {
    listenActively();
  }
}

void FTPWriteStream::folderReply(const FTPReply& reply) {
  if (!reply.isCompletion()) return failWith(cfnetwork::errorWithReply(reply));
  opened_ = true;
  setStatus(NSStreamStatusOpen);
  signal(NSStreamEventOpenCompleted);
  // A folder has no data, but its writer learns from this event that it can end.
  signal(NSStreamEventHasSpaceAvailable);
}

std::unique_ptr<FTPDataChannel> FTPWriteStream::makeChannel() {
  FTPDataChannel::Delegate& delegate = *this;
  return std::make_unique<FTPDataChannel>(loop(), limits(), delegate);
}

void FTPWriteStream::connectPassively() {
  connection_->requestPassivePort([this](std::uint16_t port, const Ref<NSError>& error) {
    if (port == 0) return giveUp(error);
    attempt_.port = port;
    attempt_.channel = makeChannel();
    attempt_.channel->connect(*connection_, attempt_.port);
    // What may harm the transfer is tried out only with a file of which all data is at hand, so that everything can be
    // sent once more: whether the server waits with the next port, and what becomes of data that comes early.
    const FTPServerHabits& habits = connection_->habits();
    const bool isUntried =
        habits.order == Order::Likely || (habits.order == Order::Kept && habits.earlyData == EarlyData::Untried);
    if (isUntried && !ending_) {
      attempt_.store = Store::Held;
    } else {
      // Without waiting for the data connection: both take the same round trip.
      sendStore(ending_);
    }
  });
}

void FTPWriteStream::listenActively() {
  attempt_.channel = makeChannel();
  const auto address = attempt_.channel->listen(*connection_);
  if (!address) return giveUp(NSError::errorWithPOSIXCode(errno));
  connection_->requestActiveMode(*address, [this](const FTPReply& reply) {
    if (!reply.isCompletion()) return giveUp(cfnetwork::errorWithReply(reply));
    sendStore(false);
  });
}

void FTPWriteStream::sendStore(bool isRepeatable) {
  attempt_.store = Store::Asked;
  isIntact_ = false;
  connection_->store(item_.path, isRepeatable, [this](const FTPReply& reply) { storeReply(reply); });
  if (attempt_.dataEnded) connection_->transferSent();
}

void FTPWriteStream::storeReply(const FTPReply& reply) {
  if (reply.isPreliminary()) {
    attempt_.store = Store::Accepted;
    resetIfWorthwhile();
    return proceed();
  }
  if (attempt_.wasReset) return resetNoticed(reply.isCompletion());
  if (attempt_.isTrial && (reply.isRefusal() || !attempt_.dataEnded)) return startOver();
  if (isRewriting_ && !reply.isCompletion()) return rewriteRefused(cfnetwork::errorWithReply(reply));
  // Servers close a port that they have given ahead of time some time later.
  const bool isPortGone = reply.code == 425 && connection_->isPortFromAhead();
  const bool isAmiss = owesFile() && (!reply.isCompletion() || !attempt_.dataEnded);
  if ((isPortGone || isAmiss) && mayStartOver(true)) return startOver();
  if (!reply.isCompletion()) return failWith(cfnetwork::errorWithReply(reply));
  if (!attempt_.dataEnded) {
    // The server may have more to say about it, which must not be taken for the reply to something else.
    connection_->close();
    return failWith(failure_ ? failure_ : cutShortError());
  }
  if (attempt_.isTrial || failure_) return checkSize();
  attempt_.store = Store::Confirmed;
  confirm();
}

// The server's confirmation alone does not tell whether it has stored everything; the file's size does. Servers that
// tell no sizes may have to be believed.
void FTPWriteStream::checkSize(bool isConfirmationEnough) {
  attempt_.store = Store::Checking;
  attempt_.patience.reset();
  const Ref<NSError> doubt = failure_ ? failure_ : cutShortError();
  if (!connection_->isLoggedIn()) {
    if (isConfirmationEnough) return finish();
    return giveUp(doubt);
  }
  connection_->requestSize(item_.path, [this, doubt, isConfirmationEnough](const FTPReply& reply) {
    const bool isWhole = FTPSizeFromReply(reply) == written_ || (reply.isOfUnusableCommand() && isConfirmationEnough);
    if (attempt_.isTrial && !isWhole) return startOver();
    if (!isWhole) return giveUp(doubt);
    if (attempt_.isTrial) connection_->habits().earlyData = EarlyData::Taken;
    finish();
  });
}

// A confirmation counts once the server has ended the data connection in good order: with data left unread it cannot.
// Some servers break every data connection off, though; those are asked for the file's size.
void FTPWriteStream::confirm() {
  // The end of a proxy's connection says nothing about the server's.
  if (connection_->isThroughProxy()) return finish();
  switch (attempt_.channel->ending()) {
    case FTPDataChannel::Ending::Good:
      return confirmWithEnd();
    case FTPDataChannel::Ending::Broken:
      return checkSize();
    case FTPDataChannel::Ending::None:
      return after(longestEndWait, &FTPWriteStream::confirmWithoutEnd);
  }
}

// Some servers leave the data connection open, and some confirm while data is still on its way. What the server's
// system has acknowledged, the server may still leave unread.
void FTPWriteStream::confirmWithoutEnd() {
  if (attempt_.channel->isDrained()) return checkSize(true);
  after(longestEndWait, &FTPWriteStream::confirmWithoutEnd);
}

void FTPWriteStream::confirmWithEnd() {
  FTPServerHabits& habits = connection_->habits();
  habits.noteOrderlyEnd(hasLingered());
  const bool isDue = habits.lingering == Lingering::Known && !isRewriting_ && connection_->isLoggedIn();
  if (isDue && mayReset() && written_ > 0 && written_ <= shortFile) return rewrite();
  finish();
}

bool FTPWriteStream::hasLingered() const {
  if (!attempt_.endTime) return false;
  const std::chrono::duration<NSTimeInterval> delay = std::chrono::steady_clock::now() - *attempt_.endTime;
  const NSTimeInterval roundTrip = attempt_.channel->roundTrip();
  return roundTrip >= longRoundTrip && delay.count() >= roundTrip / 2 && delay.count() <= roundTrip * 2;
}

// A file whose data connection is reset may have to be sent again, which some servers do not allow. So the first one
// is a file that has been stored already: a server that refuses it the second time leaves it as it is.
void FTPWriteStream::rewrite() {
  isRewriting_ = true;
  isIntact_ = true;
  transfer();
}

void FTPWriteStream::rewriteRefused(const Ref<NSError>& refusal) {
  connection_->habits().lingering = Lingering::Unavoidable;
  attempt_.store = Store::Checking;
  attempt_.patience.reset();
  connection_->requestSize(item_.path, [this, refusal](const FTPReply& reply) {
    if (FTPSizeFromReply(reply) == written_) return finish();
    if (repeat_ == Repeat::None && !failure_) return repeat();
    giveUp(refusal);
  });
}

void FTPWriteStream::repeat() {
  repeat_ = Repeat::OnSameConnection;
  transfer();
}

// Only where all that is needed to send the file again is known to work: what is asked behind a transfer waits for it,
// and the server tells sizes.
bool FTPWriteStream::mayReset() const {
  const FTPServerHabits& habits = connection_->habits();
  return canRepeat() && !connection_->isThroughProxy() && habits.order == Order::Kept &&
         habits.earlyData == EarlyData::Taken;
}

// A server that waits for our system to acknowledge the end of its data connection does not when there is no such
// connection any more, which saves a round trip. What it has not received by then is lost; it notices, and so do we by
// the file's size. So only what has all left our system already is worth it, the usual small file.
void FTPWriteStream::resetIfWorthwhile() {
  const bool isUnderWay = attempt_.store == Store::Asked || attempt_.store == Store::Accepted;
  const bool isDue = attempt_.dataEnded && isUnderWay && !attempt_.wasReset && repeat_ == Repeat::None;
  if (!isDue || failure_ || !mayReset()) return;
  const Lingering lingering = connection_->habits().lingering;
  const bool isUsed = isRewriting_ || lingering == Lingering::Avoidable || lingering == Lingering::Doubtful;
  if (!isUsed || !attempt_.channel || !attempt_.channel->reset()) return;
  attempt_.wasReset = true;
  connection_->transferDrained();
  connection_->requestSize(item_.path, [this](const FTPReply& reply) { sizeAfterReset(reply); });
  after(std::min(longestResetWait, limits().reply / 4), &FTPWriteStream::resetUnnoticed);
}

void FTPWriteStream::resetNoticed(bool isConfirmed) {
  attempt_.patience.reset();
  attempt_.isConfirmed = isConfirmed;
  attempt_.store = Store::Checking;
}

void FTPWriteStream::sizeAfterReset(const FTPReply& reply) {
  const bool isWhole = attempt_.isConfirmed && FTPSizeFromReply(reply) == written_;
  connection_->habits().noteReset(isWhole, attempt_.isConfirmed);
  isWhole ? finish() : repeat();
}

// When data gets lost and the reset with it, nothing is left on our side that would tell the server: it waits for the
// rest, or for the data connection. Not on a new connection of ours: it may keep the file locked meanwhile, and remove
// it when it gives up.
void FTPWriteStream::resetUnnoticed() {
  connection_->habits().lingering = Lingering::Unavoidable;
  if (attempt_.store == Store::Asked && properties_.passive) {
    connectAgain();
  } else {
    attempt_.channel->resetAgain();
  }
}

void FTPWriteStream::connectAgain() {
  attempt_.dataEnded = false;
  attempt_.pending = kept_;
  attempt_.channel = makeChannel();
  attempt_.channel->connect(*connection_, attempt_.port);
}

// The server has given the next port in the middle of the transfer.
void FTPWriteStream::connectionDidOvertakeTransfer() {
  const Ref<NSStream> keptAlive(this);
  // On a connection of its own, since this transfer's reply may be owed for ever. When some of the data is no longer
  // here, the transfer goes on: if it was harmed, it ends in an error like any other.
  if (canRepeat() && !failure_) replaceConnection();
}

void FTPWriteStream::connectionDidFail(const Ref<NSError>& error) {
  const Ref<NSStream> keptAlive(this);
  if (attempt_.store == Store::Confirmed) return;
  if (isIntact_) return finish();
  if (mayStartOver()) return startOver();
  failWith(failure_ ? failure_ : error);
}

// A kept connection that has died since, or a port asked for ahead of time that is no longer open, is replaced unseen:
// once, and only while the server has stored nothing and all data so far is still here. A trial that goes wrong in any
// way is repeated without running ahead, and a file that a reset or its trial has harmed without a reset.
bool FTPWriteStream::mayStartOver(bool isNothingStored) const {
  // After a failure the writer may have been told that a write has failed.
  if (failure_ || !canRepeat()) return false;
  return attempt_.isTrial || owesFile() || (fromPool_ && !startedOver_ && isNothingStored);
}

void FTPWriteStream::startOver() {
  if (attempt_.isTrial) {
    connection_->habits().earlyData = EarlyData::Lost;
  } else if (owesFile()) {
    connection_->habits().lingering = Lingering::Unavoidable;
    repeat_ = Repeat::OnNewConnection;
  } else {
    startedOver_ = true;
  }
  replaceConnection();
}

// Nothing more can be done about the file on this connection.
void FTPWriteStream::giveUp(const Ref<NSError>& error) {
  if (isIntact_) return finish();
  owesFile() && mayStartOver() ? startOver() : failWith(error);
}

void FTPWriteStream::replaceConnection() {
  attempt_ = {};
  cancel(NSStreamEventHasSpaceAvailable);
  connection_->close();
  FTPConnectionPool::ofThread().give(connection_);
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

void FTPWriteStream::dataChannelDidDrain() { connection_->transferDrained(); }

void FTPWriteStream::dataChannelDidEnd() {
  const Ref<NSStream> keptAlive(this);
  if (attempt_.store == Store::Confirmed) return confirmWithEnd();
  attempt_.endTime = std::chrono::steady_clock::now();
  if (attempt_.store < Store::Checking) connection_->transferDrained();
}

void FTPWriteStream::dataChannelDidFail(const Ref<NSError>& error) {
  const Ref<NSStream> keptAlive(this);
  const bool isNothingStored = attempt_.store < Store::Accepted || !attempt_.channel->isConnected();
  attempt_.channel.reset();
  if (attempt_.store == Store::Checking) return;
  if (attempt_.store == Store::Confirmed) return checkSize();
  const bool isOwnDoing = attempt_.isTrial || owesFile() || connection_->isPortFromAhead();
  if (isOwnDoing && mayStartOver(isNothingStored)) return startOver();
  waitForReason(error);
}

// The data connection has room, or what the stream waited for has come: sends what is pending, ends the data when
// the writer has, and otherwise asks the writer for more.
void FTPWriteStream::proceed() {
  if (!channelHasSpace() || failure_) return;
  if (attempt_.store == Store::Held && ending_) return sendHeld();
  if (mayHandOver() && !sendPending()) return;
  if (ending_ && mayHandOver()) return endData();
  sinceEvent_ = 0;
  if (!ending_ && room() > 0) signal(NSStreamEventHasSpaceAvailable);
}

// Data, or its end, that reaches the server before the command to store it is lost on servers that look at the data
// connection on their own account. They send the preliminary reply at once, so that waiting for it costs nothing there.
// Others send it only when the data connection has been made, a round trip later, and get the data without waiting
// once a trial has shown that they store it.
bool FTPWriteStream::mayHandOver() const {
  const bool early = attempt_.isTrial || connection_->habits().earlyData == EarlyData::Taken;
  return attempt_.store >= Store::Accepted || (attempt_.store == Store::Asked && early);
}

// All data is at hand. On trial it goes first, so that it is at the server before the command.
void FTPWriteStream::sendHeld() {
  attempt_.isTrial = !attempt_.pending.empty() && connection_->habits().earlyData == EarlyData::Untried;
  if (attempt_.isTrial && sendPending()) endData();
  if (attempt_.store == Store::Held) sendStore(true);
}

// False when something is left, or when the data connection has failed.
bool FTPWriteStream::sendPending() {
  while (!attempt_.pending.empty() && attempt_.channel->hasSpace()) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(attempt_.pending.data());
    const std::int64_t sent = attempt_.channel->send(bytes, attempt_.pending.size());
    if (sent < 0) {
      loseChannel(errno);
      return false;
    }
    attempt_.pending.erase(0, static_cast<std::size_t>(sent));
  }
  return attempt_.pending.empty();
}

void FTPWriteStream::loseChannel(int code) {
  attempt_.channel.reset();
  if (mayStartOver()) return startOver();
  waitForReason(NSError::errorWithPOSIXCode(code));
}

// How many bytes may be taken from the writer: nothing that could not be sent once more leaves before the server has
// begun to store.
std::size_t FTPWriteStream::room() const {
  if (attempt_.store >= Store::Accepted) return turnLimit;
  return written_ < keptLimit ? keptLimit - static_cast<std::size_t>(written_) : 0;
}

bool FTPWriteStream::hasSpaceAvailable() const {
  if (!takesData()) return false;
  if (item_.isFolder) return true;
  if (!channelHasSpace() || room() == 0 || sinceEvent_ >= turnLimit) return false;
  return attempt_.pending.empty() || !mayHandOver();
}

NSInteger FTPWriteStream::write_maxLength(const std::uint8_t* bytes, NSUInteger length) {
  if (length == 0) return phase_ == Phase::Transferring ? 0 : -1;
  if (!takesData() || item_.isFolder) return -1;
  // What is offered is never refused for want of room: a writer that was told of room has read its data already. At
  // least a part of it is taken, to be sent later.
  std::size_t size = std::min<std::size_t>(length, std::max(room(), smallestTake));
  std::int64_t sent = 0;
  const bool goesOut = mayHandOver();
  if (goesOut && attempt_.pending.empty() && channelHasSpace()) sent = attempt_.channel->send(bytes, size);
  const int error = sent < 0 ? errno : 0;
  if (error != 0 && !mayStartOver()) {
    loseChannel(error);
    return -1;
  }
  if (sent > 0) {
    size = static_cast<std::size_t>(sent);
  } else {
    if (goesOut) size = std::min(size, smallestTake);
    attempt_.pending.append(reinterpret_cast<const char*>(bytes), size);
  }
  keep(bytes, size);
  sinceEvent_ += size;
  if (error != 0) {
    loseChannel(error);
  } else if (attempt_.store == Store::Held && room() == 0) {
    sendStore(false);
    proceed();
  } else {
    yieldIfDue();
  }
  return static_cast<NSInteger>(size);
}

NSInteger FTPWriteStream::writeFromStream_maxLength(const NSInputStream& source, NSUInteger length) {
  const int file = source.fileDescriptor();
  const bool isBeyondKept =
      takesData() && attempt_.store >= Store::Accepted && written_ >= keptLimit && attempt_.pending.empty();
  if (file < 0 || item_.isFolder || !isBeyondKept || !channelHasSpace()) return -1;
  const std::int64_t sent = attempt_.channel->sendFile(file, std::min<NSUInteger>(length, turnLimit));
  if (sent <= 0) return sent;
  written_ += static_cast<std::uint64_t>(sent);
  std::string().swap(kept_);
  sinceEvent_ += static_cast<std::size_t>(sent);
  yieldIfDue();
  return sent;
}

// Lets a writer that is never out of room go on in another turn of the run loop.
void FTPWriteStream::yieldIfDue() {
  if (sinceEvent_ >= turnLimit && channelHasSpace()) attempt_.channel->askForSpace();
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
  attempt_.dataEnded = true;
  attempt_.channel->close();
  connection_->transferSent();
  resetIfWorthwhile();
}

void FTPWriteStream::close() {
  const Ref<NSStream> keptAlive(this);
  if (waiting_) {
    closedAgain_ = true;
    return;
  }
  const bool complete = phase_ == Phase::Transferring && opened_ && !failure_ && !isInterrupted();
  if (complete && item_.isFolder) {
    finish();
  } else if (complete) {
    waitForEnd();
  }
  // An error that came together with the writer's end is no less an error.
  const bool isUntold = streamStatus() == NSStreamStatusError && !isInterrupted();
  letGo();
  if (isUntold) deliverIfWaiting(NSStreamEventErrorOccurred);
  cancelAllEvents();
  setStatus(NSStreamStatusClosed);
}

void FTPWriteStream::waitForEnd() {
  waiting_ = true;
  ending_ = true;
  cancel(NSStreamEventHasSpaceAvailable);
  proceed();
  const Ref<NSRunLoop> runLoop = loop();
  std::vector<std::exception_ptr> exceptions;
  while (phase_ != Phase::Over && !isInterrupted()) {
    try {
      runLoop->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(longestTurn));
    } catch (...) {
      exceptions.push_back(std::current_exception());
    }
  }
  waiting_ = false;
  // An exception of something else that the loop serves neither ends the file nor gets lost: it goes on from a turn
  // after this one.
  for (const std::exception_ptr& exception : exceptions) {
    runLoop->performBlock([exception] { std::rethrow_exception(exception); });
  }
}

// The data connection is gone. The server usually says why; when it does not in a short while, the error is told.
void FTPWriteStream::waitForReason(const Ref<NSError>& error) {
  if (attempt_.store < Store::Asked) return failWith(error);
  failure_ = error;
  cancel(NSStreamEventHasSpaceAvailable);
  after(std::min(longestReasonWait, limits().reply), &FTPWriteStream::failWithFailure);
}

void FTPWriteStream::after(NSTimeInterval seconds, void (FTPWriteStream::*action)()) {
  attempt_.patience = std::make_unique<foundation::TimerSource>(loop(), [this, action] {
    const Ref<NSStream> keptAlive(this);
    (this->*action)();
  });
  attempt_.patience->fireAfter(seconds);
}

void FTPWriteStream::finish() {
  // The file was to be sent with a reset, which was not to be done.
  if (isRewriting_ && connection_->habits().lingering == Lingering::Known) {
    connection_->habits().lingering = Lingering::Unavoidable;
  }
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
  attempt_ = {};
  const auto connection = std::exchange(connection_, nullptr);
  if (!connection) return;
  connection->setDelegate(nullptr);
  FTPConnectionPool::ofThread().give(connection);
}
