#pragma once

#include <memory>
#include <optional>
#include <string>

#include "cfnetwork/FTPDataChannel.h"
#include "cfnetwork/FTPSession.h"
#include "foundation/events/EventSource.h"

inline namespace telvo {

namespace cfnetwork {

// One file on its way over a session that was prepared for it: STOR, the data, its end, and what the server's replies
// mean. On the session's thread; every callback may destroy it.
class FTPTransfer : private FTPSession::User, private FTPDataChannel::Delegate {
 public:
  enum class Result {
    Stored,
    // The server has closed the control connection, or said 421 or 425, before it has begun: the file may be sent
    // again.
    NotBegun,
    Failed,
  };

  class Delegate {
   public:
    virtual ~Delegate() = default;
    // Something has changed for the better: the server has begun to store, or there is room for data again.
    virtual void transferCanGoOn() = 0;
    // Told once. The error is nil when the file was stored; one that the server caused carries its reply.
    virtual void transferDidEnd(Result result, const Ref<NSError>& error) = 0;
  };

  // The session is ready, and the transfer its user up to the end.
  FTPTransfer(std::shared_ptr<FTPSession> session, const FTPLimits& limits, Delegate& delegate);
  FTPTransfer(const FTPTransfer&) = delete;
  FTPTransfer& operator=(const FTPTransfer&) = delete;
  // Breaks the transfer off, and the session with it, unless it is over.
  ~FTPTransfer() override;

  void store(const std::string& path);
  // Whether the server has begun to store: what was sent up to now cannot be asked for again.
  bool isAccepted() const { return isAccepted_; }
  // Whether data, or its end, may leave now: not before the server's preliminary reply, unless it is known to leave
  // data alone until it has read the command.
  bool takesData() const;
  // Whether the data connection is lost; transferDidEnd() follows when the server has said why, or has not in time.
  bool hasFailed() const { return failure_ != nil; }
  bool hasSpace() const { return takesData() && channel_->hasSpace(); }
  // The number of bytes taken; 0 when there is no room now (then transferCanGoOn() follows); -1 when the data
  // connection is lost (then transferDidEnd() follows).
  std::int64_t send(const std::uint8_t* bytes, std::size_t length);
  // The same for the next bytes of an open file. -1 also at its end and for files that the system cannot move.
  std::int64_t sendFile(int file, std::size_t length);
  // Has transferCanGoOn() called in a coming turn although there is room.
  void askForSpace() { channel_->askForSpace(); }
  // All data was handed over.
  void end();

 private:
  // What the transfer waits for. Each but the last has exactly one limit.
  enum class Wait {
    Reply,
    Reason,
    DataConnection,
    Room,
    Acknowledgement,
    FinalReply,
    LateAcknowledgement,
    Size,
    Writer
  };

  void sessionIsReady() override {}
  void sessionDidFail(const Ref<NSError>& error, FTPConnection::Loss loss) override;
  void dataChannelDidConnect() override;
  void dataChannelHasSpace() override;
  void dataChannelDidBreak(const Ref<NSError>& error) override;

  void begun();
  void finalReply(const FTPReply& reply);
  void refused(const FTPReply& reply);
  void confirmed();
  void askForSize();
  void sizeReply(const FTPReply& reply);
  bool isAllAcknowledged() const { return channel_->isEnded() && channel_->unacknowledged() == 0; }
  Wait wait() const;
  void watch();
  void watchAgain(NSTimeInterval seconds);
  void watchFired();
  void watchForConnection();
  void watchProgress();
  void watchAcknowledgement();
  void finish(Result result, Ref<NSError> error);

  const std::shared_ptr<FTPSession> session_;
  const FTPLimits limits_;
  Delegate& delegate_;
  std::unique_ptr<FTPDataChannel> channel_;
  bool isAccepted_ = false;
  bool isConfirmed_ = false;  // by the final reply
  bool asksForSize_ = false;
  bool isOver_ = false;
  std::string path_;
  std::uint64_t sent_ = 0;  // bytes of data
  Ref<NSError> failure_;    // of the data connection, while the server may still tell why

  foundation::TimerSource watch_;
  NSTimeInterval interval_ = 0;  // of the watch that runs
  NSTimeInterval waited_ = 0;    // without any progress
  std::size_t lastUnacknowledged_ = 0;
};

}  // namespace cfnetwork

}  // namespace telvo
