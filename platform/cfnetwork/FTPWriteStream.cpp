#include "cfnetwork/FTPWriteStream.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include "cfnetwork/CFFTPStream.h"
#include "cfnetwork/FTPErrors.h"
#include "cfnetwork/FTPSessionPool.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSError.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/files/NSURL.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"

inline namespace telvo {

using namespace cfnetwork;

namespace {

// What is taken before the server has begun to store is kept, since it may have to be sent again: one transfer buffer
// of the usual writer. The same part of a larger file goes through the writer's buffer at least.
constexpr std::size_t keptLimit = 512000;

// A writer that is never out of room gives the run loop its turn after this number of bytes.
constexpr std::size_t turnLimit = 8 << 20;

constexpr NSTimeInterval longestTurn = 0.1;

// After that, it is not by chance that kept connections break just when an item is sent.
constexpr int mostTimesSentAgain = 2;

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
  if (NSEqualObjects(key, kCFStreamPropertyFTPSecurity())) return properties_.security;
  if (NSEqualObjects(key, kCFStreamPropertyFTPUsePassiveMode())) return NSNumber::numberWithBool(properties_.passive);
  if (NSEqualObjects(key, kCFStreamPropertyFTPTemporaryName())) return properties_.temporaryName;
  if (NSEqualObjects(key, kCFStreamPropertyFTPRemovesItem())) return NSNumber::numberWithBool(properties_.removesItem);
  if (NSEqualObjects(key, kCFStreamPropertyFTPFolderMayExist())) {
    return NSNumber::numberWithBool(properties_.folderMayExist);
  }
  if (NSEqualObjects(key, kCFStreamPropertyFTPAnnouncesUTF8())) {
    return NSNumber::numberWithBool(properties_.announcesUTF8);
  }
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
  } else if (NSEqualObjects(key, kCFStreamPropertyFTPSecurity())) {
    properties_.security = property;
  } else if (NSEqualObjects(key, kCFStreamPropertyFTPUsePassiveMode())) {
    // Settings that do not say choose the mode that works from behind a firewall.
    properties_.passive = !property || foundation::boolFromObject(property);
  } else if (NSEqualObjects(key, kCFStreamPropertyFTPTemporaryName())) {
    properties_.temporaryName = as<NSString>(property);
  } else if (NSEqualObjects(key, kCFStreamPropertyFTPRemovesItem())) {
    properties_.removesItem = foundation::boolFromObject(property);
  } else if (NSEqualObjects(key, kCFStreamPropertyFTPFolderMayExist())) {
    properties_.folderMayExist = foundation::boolFromObject(property);
  } else if (NSEqualObjects(key, kCFStreamPropertyFTPAnnouncesUTF8())) {
    properties_.announcesUTF8 = foundation::boolFromObject(property);
  } else {
    return false;
  }
  return true;
}

Ref<NSRunLoop> FTPWriteStream::loop() const { return runLoop() ? runLoop() : NSRunLoop::currentRunLoop(); }

FTPLimits FTPWriteStream::limits() const {
  FTPLimits limits = limits_.value_or(FTPSessionPool::ofThread().limits());
  const auto settings = as<NSDictionary>(properties_.proxies);
  const auto connections = settings ? as<NSNumber>(settings->objectForKey("FTPConnections"_ns)) : Ref<NSNumber>();
  if (connections && connections->integerValue() > 0) {
    limits.connections = std::min<std::size_t>(limits.connections, connections->unsignedIntegerValue());
  }
  return limits;
}

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
  auto item = FTPItemFromURL(url_, properties_);
  if (const auto* error = std::get_if<Ref<NSError>>(&item)) return endWithError(*error);
  item_ = std::get<FTPItem>(std::move(item));
  useSession();
}

void FTPWriteStream::useSession() {
  phase_ = Phase::Preparing;
  FTPSession::User& user = *this;
  FTPSessionSet& sessions = FTPSessionPool::ofThread().sessionsTo(item_.endpoint);
  const FTPSessionSet::Claim claim = sessions.claim(need(), user, limits());
  session_ = claim.session;
  isNewSession_ = claim.isNew;
  session_->prepareFor(need());
}

void FTPWriteStream::sessionIsReady() {
  const Ref<NSStream> keptAlive(this);
  isErrand() ? runErrand() : storeFile();
}

void FTPWriteStream::sessionDidFail(const Ref<NSError>& error, Loss loss) {
  const Ref<NSStream> keptAlive(this);
  // Before the command has left, it does not matter how the session was lost.
  const bool isPreparing = phase_ == Phase::Preparing;
  const bool isNotBegun =
      session_->isOver() && (isPreparing || loss == Loss::ClosedByServer) && phase_ != Phase::Renaming;
  // A server that has let somebody in and then closes may be short of something, a free port for example, just now.
  const bool isPassing = isPreparing && session_->wasTurnedAway();
  if (isNotBegun && maySendAgain(isPassing ? Chance::Good : Chance::OnlyIfKept)) {
    sendAgain();
  } else {
    endWithError(error);
  }
}

// A session that was there before this item may have been dead for a while, unnoticed; one that was made for it not.
bool FTPWriteStream::maySendAgain(Chance chance) const {
  return (chance == Chance::Good || !isNewSession_) && timesSentAgain_ < mostTimesSentAgain;
}

void FTPWriteStream::sendAgain() {
  ++timesSentAgain_;
  cancel(NSStreamEventHasSpaceAvailable);
  transfer_.reset();
  sent_ = 0;
  FTPSessionPool::ofThread().sessionsTo(item_.endpoint).release(std::exchange(session_, nullptr));
  useSession();
}

void FTPWriteStream::runErrand() {
  phase_ = Phase::OnErrand;
  if (!item_.isRemoved) {
    errand_ = FTPErrand::makeFolder(item_.path, item_.mayExist);
  } else {
    errand_ = item_.isFolder ? FTPErrand::removeFolder(item_.path) : FTPErrand::removeFile(item_.path);
  }
  errand_->run(session_->connection(), [this](const Ref<NSError>& error) { errandDone(error); });
}

void FTPWriteStream::errandDone(const Ref<NSError>& error) {
  const Ref<NSStream> keptAlive(this);
  phase_ = Phase::ErrandDone;
  if (error) return endWithError(error);
  setStatus(NSStreamStatusOpen);
  signal(NSStreamEventOpenCompleted);
  // An errand has no data, but its writer learns from this event that it can end.
  signal(NSStreamEventHasSpaceAvailable);
}

void FTPWriteStream::storeFile() {
  phase_ = Phase::Transferring;
  FTPTransfer::Delegate& delegate = *this;
  transfer_ = std::make_unique<FTPTransfer>(session_, limits(), delegate);
  transfer_->store(item_.temporaryPath.empty() ? item_.path : item_.temporaryPath);
  if (streamStatus() == NSStreamStatusOpening) {
    setStatus(NSStreamStatusOpen);
    signal(NSStreamEventOpenCompleted);
  }
  proceed();
}

void FTPWriteStream::transferCanGoOn() {
  const Ref<NSStream> keptAlive(this);
  proceed();
}

// Sends what is kept, ends the data when the writer has, and otherwise asks the writer for more.
void FTPWriteStream::proceed() {
  if (!transfer_ || !transfer_->takesData() || !sendKept()) return;
  if (ending_) return transfer_->end();
  sinceEvent_ = 0;
  if (room() > 0) signal(NSStreamEventHasSpaceAvailable);
}

// False when something is left, or when the data connection has failed.
bool FTPWriteStream::sendKept() {
  while (sent_ < kept_.size() && transfer_->hasSpace()) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(kept_.data()) + sent_;
    const std::int64_t sent = transfer_->send(bytes, kept_.size() - sent_);
    if (sent < 0) return false;
    sent_ += static_cast<std::size_t>(sent);
  }
  if (sent_ < kept_.size()) return false;
  if (transfer_->isAccepted()) {
    std::string().swap(kept_);
    sent_ = 0;
  }
  return true;
}

// How many bytes may be taken from the writer: nothing that could not be sent once more before the server has begun.
std::size_t FTPWriteStream::room() const {
  if (transfer_->isAccepted()) return kept_.empty() ? turnLimit : 0;
  return keptLimit - kept_.size();
}

bool FTPWriteStream::hasSpaceAvailable() const {
  if (phase_ == Phase::ErrandDone) return true;
  return takesData() && transfer_->hasSpace() && room() > 0 && sinceEvent_ < turnLimit;
}

NSInteger FTPWriteStream::write_maxLength(const std::uint8_t* bytes, NSUInteger length) {
  if (length == 0) return hasBegun() || phase_ == Phase::ErrandDone ? 0 : -1;
  if (!hasBegun() || ending_) return -1;
  if (!takesData()) return 0;
  const std::size_t size = std::min<std::size_t>(length, room());
  return transfer_->isAccepted() ? sendDirectly(bytes, size) : keep(bytes, size);
}

NSInteger FTPWriteStream::sendDirectly(const std::uint8_t* bytes, std::size_t size) {
  if (transfer_->hasFailed()) return -1;
  if (size == 0 || !transfer_->hasSpace()) return 0;
  const std::int64_t sent = transfer_->send(bytes, size);
  if (sent > 0) noteTaken(static_cast<std::size_t>(sent));
  return sent;
}

NSInteger FTPWriteStream::keep(const std::uint8_t* bytes, std::size_t size) {
  kept_.append(reinterpret_cast<const char*>(bytes), size);
  if (transfer_->takesData()) sendKept();
  noteTaken(size);
  return static_cast<NSInteger>(size);
}

NSInteger FTPWriteStream::writeFromStream_maxLength(const NSInputStream& source, NSUInteger length) {
  const int file = source.fileDescriptor();
  if (file < 0 || !takesData() || !transfer_->isAccepted()) return -1;
  if (!kept_.empty() || written_ < keptLimit || !transfer_->hasSpace()) return -1;
  const std::int64_t sent = transfer_->sendFile(file, std::min<NSUInteger>(length, turnLimit));
  if (sent > 0) noteTaken(static_cast<std::size_t>(sent));
  return sent;
}

void FTPWriteStream::noteTaken(std::size_t size) {
  written_ += size;
  sinceEvent_ += size;
  // Lets a writer that is never out of room go on in another turn of the run loop.
  if (sinceEvent_ >= turnLimit && transfer_->hasSpace()) transfer_->askForSpace();
}

void FTPWriteStream::transferDidEnd(FTPTransfer::Result result, const Ref<NSError>& error) {
  const Ref<NSStream> keptAlive(this);
  if (result == FTPTransfer::Result::Stored) return item_.temporaryPath.empty() ? letGo() : rename();
  if (result == FTPTransfer::Result::NotBegun && maySendAgain(Chance::OnlyIfKept)) {
    sendAgain();
  } else {
    endWithError(error);
  }
}

// The server has all of the file, under its temporary name.
void FTPWriteStream::rename() {
  if (!session_->connection().isQuiet()) {
    return endWithError(errorWithCode(kCFURLErrorNetworkConnectionLost, "The server closed the connection."));
  }
  phase_ = Phase::Renaming;
  session_->setUser(this);
  errand_ = FTPErrand::rename(item_.temporaryPath, item_.path);
  errand_->run(session_->connection(), [this](const Ref<NSError>& error) { renamed(error); });
}

// What cannot be given its name is not left lying about.
void FTPWriteStream::renamed(const Ref<NSError>& error) {
  const Ref<NSStream> keptAlive(this);
  const auto done = [this, error] {
    phase_ = Phase::ErrandDone;
    error ? endWithError(error) : letGo();
  };
  if (!error) return done();
  errand_ = FTPErrand::removeFile(item_.temporaryPath);
  errand_->run(session_->connection(), [this, done](const Ref<NSError>&) {
    const Ref<NSStream> stillAlive(this);
    done();
  });
}

void FTPWriteStream::close() {
  const Ref<NSStream> keptAlive(this);
  if (waiting_) {
    closedAgain_ = true;
    return;
  }
  if (hasBegun() && !isInterrupted()) waitForEnd();
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

void FTPWriteStream::breakOff() {
  const Ref<NSStream> keptAlive(this);
  const bool isUnderWay = session_ != nullptr;
  letGo();
  cancelAllEvents();
  if (isUnderWay) FTPSessionPool::ofThread().sessionsTo(item_.endpoint).retire(FTPSession::Unused::Reset);
}

void FTPWriteStream::endWithError(const Ref<NSError>& error) {
  if (phase_ == Phase::Over) return;
  letGo();
  fail(error);
}

// Ends all use of the network: what is under way is broken off, and a session that is at rest is given back.
void FTPWriteStream::letGo() {
  const bool isOnErrand = phase_ == Phase::OnErrand || phase_ == Phase::Renaming;
  const bool isReplyOwed = isOnErrand && !session_->connection().isQuiet();
  phase_ = Phase::Over;
  starter_.reset();
  transfer_.reset();
  std::string().swap(kept_);
  const auto session = std::exchange(session_, nullptr);
  if (!session) return;
  session->setUser(nullptr);
  const bool isOnOtherThread = session->connection().runLoop() != NSRunLoop::currentRunLoop();
  if (isReplyOwed || isOnOtherThread) session->close();
  // A thread's sessions end with it; the stream may be let go of on another one then.
  if (!isOnOtherThread) FTPSessionPool::ofThread().sessionsTo(item_.endpoint).release(session);
}

}  // namespace telvo
