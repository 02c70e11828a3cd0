#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "cfnetwork/FTPConnection.h"
#include "cfnetwork/FTPDataChannel.h"

inline namespace telvo {

namespace cfnetwork {

// A control connection together with the data connection that is made over it ahead of a file: it logs in, asks for a
// port and connects to it, step by step, so that the file's STOR can go out at once. In active mode it opens a port and
// tells the server. Drives itself from its thread's run loop, whether somebody waits for it or not.
//
//   session->setUser(this);
//   session->prepareFor(FTPSession::Need::Transfer);           // sessionIsReady() or sessionDidFail() follows
//   auto channel = session->takeDataChannel(channelDelegate);  // in sessionIsReady()
class FTPSession : public std::enable_shared_from_this<FTPSession>,
                   private FTPConnection::Delegate,
                   private FTPDataChannel::Delegate {
 public:
  // What a session is prepared for: nothing in particular, a command, or a file.
  enum class Need { Nothing, Command, Transfer };

  // How far a session has got on the way to a file's STOR, in this order.
  enum class Progress { Over, LoggingIn, LoggedIn, AskingForPort, MakingDataConnection, Ready };

  class User {
   public:
    virtual ~User() = default;
    // What prepareFor() has asked for is there; may be called inside it.
    virtual void sessionIsReady() = 0;
    // The control connection was lost, at whatever time, or the data connection could not be made; then the session
    // is not over and can be used again.
    virtual void sessionDidFail(const Ref<NSError>& error, FTPConnection::Loss loss) = 0;
  };

  // A session that is there in addition to others is on probation until it has got ready for a file once: up to then,
  // whatever fails is its end.
  enum class Standing { Regular, OnProbation };

  FTPSession(const Ref<NSRunLoop>& runLoop, const FTPEndpoint& endpoint, const FTPLimits& limits, Standing standing);

  // Whoever uses the session at the moment; null while nobody does.
  User* user() const { return user_; }
  void setUser(User* user) { user_ = user; }
  void setLimits(const FTPLimits& limits);

  void prepareFor(Need need);
  // Looks at both connections: what the server has closed meanwhile, or would soon, is noticed.
  void refresh();
  Progress progress() const;
  Standing standing() const { return standing_; }
  bool isOver() const { return connection_->isClosed(); }
  // Whether the server has closed it after the login, and not while a data connection was being made in vain.
  bool wasTurnedAway() const { return wasTurnedAway_; }
  // Over, but not because of close() or quit().
  bool isLost() const { return isLost_; }
  // Whether the server has given different ports for different data connections; also true where that does not matter.
  bool hasVaryingPorts() const { return hasVaryingPorts_ || !connection_->isPassive(); }

  FTPConnection& connection() { return *connection_; }
  const FTPConnection& connection() const { return *connection_; }
  // The data connection that was prepared, from now on the caller's.
  std::unique_ptr<FTPDataChannel> takeDataChannel(FTPDataChannel::Delegate& delegate);

  // Whether a data connection that was prepared in vain is ended in good order, or reset. A server with one queue for
  // several sessions would take one that has ended for the next file, an empty one.
  enum class Unused { End, Reset };

  void quit(Unused unused);
  void close();

 private:
  void connectionDidLogIn() override;
  void connectionDidFail(const Ref<NSError>& error, FTPConnection::Loss loss) override;
  void dataChannelDidConnect() override;
  void dataChannelHasSpace() override {}
  void dataChannelDidBreak(const Ref<NSError>& error) override;

  void advance();
  void notePrepared();
  void tellReady();
  void askForPort();
  void portReply(const FTPReply& reply);
  void connectTo(std::uint16_t port);
  void openPort();
  void announce(const SocketAddress& address);
  void announced(const FTPReply& reply, const SocketAddress& address);
  void dropDataChannel();
  void failDataConnection(const Ref<NSError>& error);
  void giveUp();
  std::unique_ptr<FTPDataChannel> makeChannel();

  FTPLimits limits_;
  std::shared_ptr<FTPConnection> connection_;
  std::unique_ptr<FTPDataChannel> channel_;
  User* user_ = nullptr;
  Need need_ = Need::Nothing;
  Standing standing_;
  bool hasLoggedIn_ = false;
  bool isLost_ = false;
  bool wasTurnedAway_ = false;
  bool extendedPassive_ = true;
  bool extendedActive_ = true;
  std::chrono::steady_clock::time_point preparedTime_;
  std::uint16_t port_ = 0;  // the one that the server has given last
  bool hasVaryingPorts_ = false;
  std::optional<std::uint16_t> unusedPort_;  // of a data connection that was dropped without having been used
};

}  // namespace cfnetwork

}  // namespace telvo
