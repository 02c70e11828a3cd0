#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "cfnetwork/FTPErrand.h"
#include "cfnetwork/FTPItem.h"
#include "cfnetwork/FTPSession.h"
#include "cfnetwork/FTPTransfer.h"
#include "foundation/events/NSStream.h"

inline namespace telvo {

class NSURL;

// Stores one file on an FTP server, or makes one folder. It uses one of the thread's sessions to the same server and
// login, and gives it back when the item is over; the thread's other sessions prepare themselves for the next item
// meanwhile. Everything happens from run-loop turns; only close() waits, see there. One item at a time is sent when the
// writer opens the next stream after the last one was closed.
class TELVO_EXPORTED_TO_LAYERS FTPWriteStream : public NSOutputStream,
                                                private cfnetwork::FTPSession::User,
                                                private cfnetwork::FTPTransfer::Delegate {
  NS_OBJECT(FTPWriteStream, NSOutputStream)

 public:
  explicit FTPWriteStream(Ref<NSURL> url);
  ~FTPWriteStream() override;

  const Ref<NSURL>& URL() const { return url_; }

  // Used instead of the thread's (FTPSessionPool::limits); before open().
  void setLimits(const cfnetwork::FTPLimits& limits) { limits_ = limits; }

  // Begins in the next run-loop turn. "Open completed" comes when the file is asked for over a data connection that is
  // up, or when the folder was made. A name, login or host that cannot be sent is an error, and nothing is connected.
  void open() override;

  // Ends the file. Waits for the server's final reply while it runs the run loop; a refusal that only this reply tells
  // is delivered as the error event before it returns. The wait ends early, and the transfer is broken off, when the
  // function given to setInterruption() answers true, or when breakOff() or close() is called meanwhile. Closing a
  // stream that has not transferred anything, or has failed, does not wait.
  void close() override;

  // Asked before and after each turn of the wait, which lasts at most 0.1 seconds. True when close() is called at
  // first makes it break the transfer off instead of ending it.
  void setInterruption(std::function<bool()> interruption) { interruption_ = std::move(interruption); }

  // Gives the item up: the data connection is reset, so that nothing more of it leaves. The stream stays open, takes
  // no data and tells nothing any more.
  void breakOff();

  // A failed write gives a negative result; the error event follows when the server has said why, or has not in time.
  NSInteger write_maxLength(const std::uint8_t* bytes, NSUInteger length) override;
  // For what comes after the beginning of a large file.
  NSInteger writeFromStream_maxLength(const NSInputStream& source, NSUInteger length) override;
  bool hasSpaceAvailable() const override;

  id propertyForKey(const Ref<NSString>& key) const override;
  bool setProperty_forKey(const id& property, const Ref<NSString>& key) override;

 private:
  using Loss = cfnetwork::FTPConnection::Loss;
  using Need = cfnetwork::FTPSession::Need;
  // Whether another try with a new session is worth it: only when the last one was not new, or in any case.
  enum class Chance { OnlyIfKept, Good };
  enum class Phase { Idle, Preparing, OnErrand, ErrandDone, Transferring, Renaming, Over };

  void sessionIsReady() override;
  void sessionDidFail(const Ref<NSError>& error, Loss loss) override;
  void transferCanGoOn() override;
  void transferDidEnd(cfnetwork::FTPTransfer::Result result, const Ref<NSError>& error) override;

  void start();
  void useSession();
  void runErrand();
  void errandDone(const Ref<NSError>& error);
  void storeFile();
  bool maySendAgain(Chance chance) const;
  void sendAgain();
  void proceed();
  bool sendKept();
  std::size_t room() const;
  NSInteger sendDirectly(const std::uint8_t* bytes, std::size_t size);
  NSInteger keep(const std::uint8_t* bytes, std::size_t size);
  void noteTaken(std::size_t size);
  void rename();
  void renamed(const Ref<NSError>& error);
  void waitForEnd();
  void endWithError(const Ref<NSError>& error);
  void letGo();

  Ref<NSRunLoop> loop() const;
  cfnetwork::FTPLimits limits() const;
  bool isErrand() const { return item_.isFolder || item_.isRemoved; }
  Need need() const { return isErrand() ? Need::Command : Need::Transfer; }
  // A file was asked for, be it that it is about to be asked for once more.
  bool hasBegun() const {
    return streamStatus() == NSStreamStatusOpen && (phase_ == Phase::Preparing || phase_ == Phase::Transferring);
  }
  bool takesData() const { return phase_ == Phase::Transferring && !ending_; }
  bool isInterrupted() const { return closedAgain_ || (interruption_ && interruption_()); }

  Ref<NSURL> url_;
  cfnetwork::FTPProperties properties_;
  std::optional<cfnetwork::FTPLimits> limits_;
  std::function<bool()> interruption_;

  Phase phase_ = Phase::Idle;
  cfnetwork::FTPItem item_;
  std::unique_ptr<foundation::SignalSource> starter_;
  std::shared_ptr<cfnetwork::FTPSession> session_;
  bool isNewSession_ = false;
  int timesSentAgain_ = 0;
  std::unique_ptr<cfnetwork::FTPTransfer> transfer_;
  std::optional<cfnetwork::FTPErrand> errand_;

  std::string kept_;            // what was taken and may have to be sent again, as long as the server has not begun
  std::size_t sent_ = 0;        // how much of that this transfer has got
  std::uint64_t written_ = 0;   // how much was taken in all
  std::size_t sinceEvent_ = 0;  // of that, since the last space event
  bool ending_ = false;         // the writer has no more data
  bool waiting_ = false;        // inside close()
  bool closedAgain_ = false;
};

}  // namespace telvo
