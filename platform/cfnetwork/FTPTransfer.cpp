#include "cfnetwork/FTPTransfer.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "cfnetwork/FTPErrors.h"
#include "foundation/errors/NSError.h"
#include "foundation/events/NSRunLoop.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

// A server whose data connection has broken usually says why; it is not waited for long.
constexpr NSTimeInterval longestReasonWait = 2;

// An acknowledgement that comes after the reply comes soon: it was merely overtaken, or got lost on its way.
constexpr NSTimeInterval shortestCheck = 0.001;
constexpr NSTimeInterval longestCheck = 1;

Ref<NSError> cutShortError() {
  return errorWithCode(kCFURLErrorNetworkConnectionLost, "The server ended the transfer before it had taken all data.");
}

// A limit is waited for in short steps, so that time in which the process did not run does not count.
NSTimeInterval intervalOf(NSTimeInterval limit) { return std::min(1.0, limit / 4); }

Ref<NSError> timeoutError(std::string_view text) { return errorWithCode(kCFURLErrorTimedOut, text); }

}  // namespace

FTPTransfer::FTPTransfer(std::shared_ptr<FTPSession> session, const FTPLimits& limits, Delegate& delegate)
    : session_(std::move(session)),
      limits_(limits),
      delegate_(delegate),
      watch_(session_->connection().runLoop(), [this] { watchFired(); }) {
  FTPDataChannel::Delegate& channelDelegate = *this;
  channel_ = session_->takeDataChannel(channelDelegate);
  session_->setUser(this);
}

FTPTransfer::~FTPTransfer() {
  if (isOver_) return;
  channel_->breakOff();
  session_->setUser(nullptr);
  session_->close();
}

void FTPTransfer::store(const std::string& path) {
  path_ = path;
  session_->connection().send(
      "STOR " + path, [this](const FTPReply& reply) { finalReply(reply); }, [this](const FTPReply&) { begun(); });
}

bool FTPTransfer::takesData() const {
  if (isOver_ || failure_ || isConfirmed_ || !channel_->isReady()) return false;
  return isAccepted_ || session_->connection().takesEarlyData();
}

std::int64_t FTPTransfer::send(const std::uint8_t* bytes, std::size_t length) {
  const std::int64_t sent = channel_->send(bytes, length);
  if (sent < 0) {
    dataChannelDidBreak(channel_->errorOf(errno));
    return sent;
  }
  sent_ += static_cast<std::uint64_t>(sent);
  if (channel_->isBlocked()) watch();
  return sent;
}

std::int64_t FTPTransfer::sendFile(int file, std::size_t length) {
  const std::int64_t sent = channel_->sendFile(file, length);
  if (sent > 0) sent_ += static_cast<std::uint64_t>(sent);
  if (channel_->isBlocked()) watch();
  return sent;
}

void FTPTransfer::end() {
  if (channel_->isEnded()) return;
  channel_->end();
  watch();
}

void FTPTransfer::begun() {
  isAccepted_ = true;
  channel_->getReady();
  watch();
  if (!failure_) delegate_.transferCanGoOn();
}

void FTPTransfer::finalReply(const FTPReply& reply) {
  if (!reply.isCompletion()) return refused(reply);
  if (failure_) return finish(Result::Failed, failure_);
  isConfirmed_ = true;
  if (channel_->isEnded()) return confirmed();
  // The server may have more to say about it, which must not be taken for the reply to something else.
  session_->close();
  finish(Result::Failed, cutShortError());
}

void FTPTransfer::refused(const FTPReply& reply) {
  const bool isNotBegun = reply.code == FTPCode::noDataConnection && !isAccepted_;
  finish(isNotBegun ? Result::NotBegun : Result::Failed, errorWithReply(reply));
}

// What a completion reply means. It counts when all data was handed over and our end closed before it came, and when
// the server's system has acknowledged all of that: what it has not acknowledged the server cannot have stored. How
// the server ends the data connection says nothing more; some reset it, some leave it open, and some close it late.
//
// An encrypted one can be cut by somebody on the way who acknowledges all that comes, and some servers take the cut for
// the file's end. They cannot be made to announce their own end in return for ours, though, and where that is missing,
// as some servers always leave it out, the file's size tells a cut one apart.
void FTPTransfer::confirmed() {
  if (failure_) return finish(Result::Failed, failure_);
  if (!isAllAcknowledged()) return watch();
  channel_->mayBeCutShort() ? askForSize() : finish(Result::Stored, nil);
}

void FTPTransfer::askForSize() {
  if (!session_->connection().isQuiet()) {
    return finish(Result::Failed, errorWithCode(kCFURLErrorNetworkConnectionLost, "The server closed the connection."));
  }
  asksForSize_ = true;
  watch_.cancel();
  session_->connection().send("SIZE " + path_, [this](const FTPReply& reply) { sizeReply(reply); });
}

void FTPTransfer::sizeReply(const FTPReply& reply) {
  if (reply.code == FTPCode::fileStatus && FTPSizeFromReply(reply) == sent_) return finish(Result::Stored, nil);
  const std::string_view text =
      reply.code == FTPCode::fileStatus
          ? "The data connection was cut: the server has not got the whole file."
          : "The data connection may have been cut: the server has not ended it, and does not "
            "tell how much it has got.";
  finish(Result::Failed, errorWithCode(kCFURLErrorNetworkConnectionLost, text));
}

void FTPTransfer::sessionDidFail(const Ref<NSError>& error, FTPConnection::Loss loss) {
  // A confirmation in hand is worth the same without the connection that it came over.
  if (isConfirmed_ && !asksForSize_) return;
  const bool isNotBegun = loss == FTPConnection::Loss::ClosedByServer && !isAccepted_;
  finish(isNotBegun ? Result::NotBegun : Result::Failed, failure_ ? failure_ : error);
}

void FTPTransfer::dataChannelDidConnect() {
  watch();
  delegate_.transferCanGoOn();
}

void FTPTransfer::dataChannelHasSpace() {
  watch();
  delegate_.transferCanGoOn();
}

void FTPTransfer::dataChannelDidBreak(const Ref<NSError>& error) {
  // When all data had got through, nothing was lost, and the reply decides.
  if (!channel_->mayBeComplete()) failure_ = error;
  channel_->breakOff();
  if (asksForSize_) return;
  isConfirmed_ ? confirmed() : watch();
}

FTPTransfer::Wait FTPTransfer::wait() const {
  if (asksForSize_) return Wait::Size;
  if (isConfirmed_) return Wait::LateAcknowledgement;
  if (failure_) return Wait::Reason;
  if (!isAccepted_) return Wait::Reply;
  if (channel_->isEnded()) return isAllAcknowledged() ? Wait::FinalReply : Wait::Acknowledgement;
  if (!channel_->isReady()) return Wait::DataConnection;
  return channel_->isBlocked() ? Wait::Room : Wait::Writer;
}

// Sees to it that there is one limit to what is waited for now. While data flows, no reply is due.
void FTPTransfer::watch() {
  FTPConnection& connection = session_->connection();
  watch_.cancel();
  waited_ = 0;
  switch (wait()) {
    case Wait::Reply:
    case Wait::Size:
      return;  // under the limit that the command was sent with
    case Wait::Reason:
      return connection.expectReplyWithin(std::min(longestReasonWait, limits_.reply));
    case Wait::FinalReply:
      return connection.expectReplyWithin(limits_.reply);
    case Wait::DataConnection:
      connection.expectNoReply();
      return watchAgain(intervalOf(limits_.connect));
    case Wait::Room:
    case Wait::Acknowledgement:
      connection.expectNoReply();
      lastUnacknowledged_ = channel_->unacknowledged();
      return watchAgain(intervalOf(limits_.progress));
    case Wait::LateAcknowledgement:
      return watchAgain(shortestCheck);
    case Wait::Writer:
      return connection.expectNoReply();
  }
}

void FTPTransfer::watchAgain(NSTimeInterval seconds) {
  interval_ = seconds;
  watch_.fireAfter(seconds);
}

void FTPTransfer::watchFired() {
  const auto keptAlive = session_;
  switch (wait()) {
    case Wait::DataConnection:
      return watchForConnection();
    case Wait::Room:
    case Wait::Acknowledgement:
      return watchProgress();
    case Wait::LateAcknowledgement:
      return watchAcknowledgement();
    default:
      return watch();
  }
}

void FTPTransfer::watchForConnection() {
  waited_ += interval_;
  if (waited_ >= limits_.connect) {
    return finish(Result::Failed, timeoutError("The server did not make the data connection in time."));
  }
  watchAgain(interval_);
}

// Room is only announced when a good part of the kernel's buffer is free, which on a slow link can take longer than
// the limit; the number of unacknowledged bytes tells earlier whether the other side takes anything.
void FTPTransfer::watchProgress() {
  if (const Ref<NSError> error = channel_->isEnded() ? channel_->takeError() : nil) return dataChannelDidBreak(error);
  const std::size_t unacknowledged = channel_->unacknowledged();
  waited_ = unacknowledged == std::exchange(lastUnacknowledged_, unacknowledged) ? waited_ + interval_ : 0;
  if (waited_ >= limits_.progress) return finish(Result::Failed, timeoutError("The server stopped taking data."));
  watchAgain(interval_);
}

void FTPTransfer::watchAcknowledgement() {
  waited_ += interval_;
  if (waited_ >= limits_.reply) {
    session_->close();
    return finish(Result::Failed, timeoutError("The server did not acknowledge all data in time."));
  }
  if (isAllAcknowledged()) return confirmed();
  if (const Ref<NSError> error = channel_->takeError()) return dataChannelDidBreak(error);
  watchAgain(std::min(2 * interval_, longestCheck));
}

// The error by value: the delegate may destroy the transfer, and what it holds.
void FTPTransfer::finish(Result result, Ref<NSError> error) {
  if (std::exchange(isOver_, true)) return;
  watch_.cancel();
  if (result != Result::Stored) channel_->breakOff();
  session_->setUser(nullptr);
  // With a reply still owed, the next command's would be taken for this one's.
  if (!session_->connection().isQuiet()) session_->close();
  delegate_.transferDidEnd(result, error);
}

}  // namespace cfnetwork

}  // namespace telvo
