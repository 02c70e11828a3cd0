#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "cfnetwork/FTPConnection.h"
#include "cfnetwork/FTPDataChannel.h"
#include "cfnetwork/FTPItem.h"
#include "foundation/events/NSStream.h"

class NSURL;

// Stores one file on an FTP server, or makes one folder. It uses the thread's kept control connection to the same
// server and login when there is one, and gives the connection back when the item is over. Everything else happens
// from run-loop turns; only close() waits, see there.
class FTPWriteStream : public NSOutputStream, private FTPConnection::Delegate, private FTPDataChannel::Delegate {
  NS_OBJECT(FTPWriteStream, NSOutputStream)

 public:
  explicit FTPWriteStream(Ref<NSURL> url);
  ~FTPWriteStream() override;

  const Ref<NSURL>& URL() const { return url_; }

  // Used instead of the thread's (FTPConnectionPool::limits); before open().
  void setLimits(const FTPLimits& limits) { limits_ = limits; }

  // Begins in the next run-loop turn. "Open completed" comes with the data connection, or with the made folder. A
  // name, login or host that holds a carriage return, line feed or NUL is an error, and nothing is connected.
  void open() override;

  // Ends the file. Waits for the server's final reply while it runs the run loop; a refusal that only this reply tells
  // is delivered as the error event before it returns. The wait ends early, and the transfer is broken off, when the
  // function given to setInterruption() answers true or when close() is called again meanwhile. Closing a stream that
  // has not transferred anything, or has failed, does not wait.
  void close() override;

  // Asked before and after each turn of the wait, which lasts at most 0.1 seconds. True when close() is called at
  // first makes it break the transfer off instead of ending it.
  void setInterruption(std::function<bool()> interruption) { interruption_ = std::move(interruption); }

  // A failed write gives a negative result; the error event follows when the server has said why, or has not in time.
  NSInteger write_maxLength(const std::uint8_t* bytes, NSUInteger length) override;
  // For what comes after the part of a file that is kept for sending it once more.
  NSInteger writeFromStream_maxLength(const NSInputStream& source, NSUInteger length) override;
  bool hasSpaceAvailable() const override;

  id propertyForKey(const Ref<NSString>& key) const override;
  bool setProperty_forKey(const id& property, const Ref<NSString>& key) override;

 private:
  enum class Phase { Idle, Preparing, Transferring, Over };

  // How far the server has got with the file, in this order.
  enum class Store {
    NotAsked,
    Held,       // asked for as soon as it is known whether all of the file can be kept
    Asked,      // not answered yet
    Accepted,   // the server has begun to store
    Checking,   // the server is asked how much it has stored
    Confirmed,  // the server says that it has stored everything
  };

  // One try to send the item; the next one begins with nothing of it.
  struct Attempt {
    std::unique_ptr<FTPDataChannel> channel;
    std::uint16_t port = 0;  // the server's, for the data connection
    Store store = Store::NotAsked;
    bool isTrial = false;      // the data goes out ahead of the command, to find out what the server does with it
    std::string pending;       // data taken from the writer that the data connection has not got yet
    bool dataEnded = false;    // everything is on its way and the data connection closed on this side
    bool wasReset = false;     // the data connection was, when all data had been sent
    bool isConfirmed = false;  // by the final reply, after a reset
    std::optional<std::chrono::steady_clock::time_point> endTime;  // of the data connection's orderly end
    std::unique_ptr<foundation::TimerSource> patience;             // with a server that owes a reason or an end
  };

  // Whether the file is sent again, without a reset, because one may have harmed it.
  enum class Repeat { None, OnSameConnection, OnNewConnection };

  void connectionDidLogIn() override;
  void connectionDidFail(const Ref<NSError>& error) override;
  void connectionDidOvertakeTransfer() override;
  void dataChannelDidConnect() override;
  void dataChannelHasSpace() override;
  void dataChannelDidDrain() override;
  void dataChannelDidEnd() override;
  void dataChannelDidFail(const Ref<NSError>& error) override;

  void start();
  Ref<NSRunLoop> loop() const;
  const FTPLimits& limits() const;
  void useConnection();
  void openConnection();
  void transfer();
  void folderReply(const FTPReply& reply);
  std::unique_ptr<FTPDataChannel> makeChannel();
  void connectPassively();
  void listenActively();
  void sendStore(bool isRepeatable);
  void storeReply(const FTPReply& reply);
  void checkSize(bool isConfirmationEnough = false);
  void confirm();
  void confirmWithoutEnd();
  void confirmWithEnd();
  bool hasLingered() const;
  void rewrite();
  void rewriteRefused(const Ref<NSError>& refusal);
  void repeat();
  bool mayReset() const;
  void resetIfWorthwhile();
  void resetNoticed(bool isConfirmed);
  void sizeAfterReset(const FTPReply& reply);
  void resetUnnoticed();
  void connectAgain();
  // What the server has may not be the file by our own doing, and a new connection has not been tried against that.
  bool owesFile() const {
    return (isRewriting_ || attempt_.wasReset || repeat_ != Repeat::None) && repeat_ != Repeat::OnNewConnection;
  }
  bool mayStartOver() const { return mayStartOver(attempt_.store < Store::Accepted); }
  bool mayStartOver(bool isNothingStored) const;
  void startOver();
  void giveUp(const Ref<NSError>& error);
  void replaceConnection();
  void proceed();
  bool mayHandOver() const;
  void sendHeld();
  bool sendPending();
  void loseChannel(int code);
  void keep(const std::uint8_t* bytes, std::size_t length);
  void yieldIfDue();
  std::size_t room() const;
  bool channelHasSpace() const { return attempt_.channel && attempt_.channel->hasSpace(); }
  bool takesData() const { return phase_ == Phase::Transferring && opened_ && !ending_ && !failure_; }
  bool canRepeat() const { return written_ == kept_.size(); }
  bool isInterrupted() const { return closedAgain_ || (interruption_ && interruption_()); }
  void endData();
  void waitForEnd();
  void waitForReason(const Ref<NSError>& error);
  void after(NSTimeInterval seconds, void (FTPWriteStream::*action)());
  void failWithFailure() { failWith(failure_); }
  void finish();
  void failWith(const Ref<NSError>& error);
  void letGo();

  Ref<NSURL> url_;
  FTPProperties properties_;
  std::optional<FTPLimits> limits_;
  std::function<bool()> interruption_;

  Phase phase_ = Phase::Idle;
  FTPItem item_;
  std::unique_ptr<foundation::SignalSource> starter_;
  std::shared_ptr<FTPConnection> connection_;

  Attempt attempt_;
  bool fromPool_ = false;  // the connection was used before, so it may have died unnoticed
  bool startedOver_ = false;
  bool isRewriting_ = false;  // the file was stored; it is sent once more to find out whether resets can be used
  bool isIntact_ = false;     // nothing has been asked yet since it was stored
  Repeat repeat_ = Repeat::None;
  bool opened_ = false;
  bool ending_ = false;   // the writer has no more data
  bool waiting_ = false;  // inside close()
  bool closedAgain_ = false;
  Ref<NSError> failure_;  // that ended the data connection, while the server may still tell why
  std::uint64_t written_ = 0;
  std::string kept_;            // all data written so far, while it is short enough to be sent once more
  std::size_t sinceEvent_ = 0;  // bytes taken since the last space event
};
