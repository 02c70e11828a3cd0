#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "cfnetwork/FTPEndpoint.h"
#include "cfnetwork/FTPReply.h"
#include "cfnetwork/FTPSocket.h"
#include "cfnetwork/LimitTimer.h"
#include "cfnetwork/SocketConnector.h"
#include "cfnetwork/tls/TLSPeer.h"
#include "foundation/events/EventSource.h"

inline namespace telvo {

class NSError;
class NSRunLoop;

namespace cfnetwork {

// One control connection (RFC 959) in lock step: it logs in, encrypted before that when the endpoint says so (RFC
// 4217), and then takes one command at a time, the next one only after the final reply to the last. A thread's loop
// drives it; every call and callback is on that thread. Held by a shared pointer, since a callback may let go of it.
//
//   connection->open();                                  // connectionDidLogIn() follows, or connectionDidFail()
//   connection->send("MKD /a", [](const FTPReply& reply) { ... });
class FTPConnection : public std::enable_shared_from_this<FTPConnection> {
 public:
  // How a connection was lost: the server has closed it, or said that it does (421), or something else went wrong, a
  // limit that was met for example.
  enum class Loss { ClosedByServer, Failed };

  class Delegate {
   public:
    virtual ~Delegate() = default;
    virtual void connectionDidLogIn() = 0;
    // The connection is of no use any more. Told once; nothing is called after it.
    virtual void connectionDidFail(const Ref<NSError>& error, Loss loss) = 0;
  };
  using ReplyHandler = std::function<void(const FTPReply&)>;

  FTPConnection(Ref<NSRunLoop> runLoop, FTPEndpoint endpoint, const FTPLimits& limits, Delegate& delegate);
  FTPConnection(const FTPConnection&) = delete;
  FTPConnection& operator=(const FTPConnection&) = delete;
  ~FTPConnection();

  const FTPEndpoint& endpoint() const { return endpoint_; }
  const Ref<NSRunLoop>& runLoop() const { return runLoop_; }
  // From the next command on.
  void setLimits(const FTPLimits& limits) { limits_ = limits; }

  void open();
  bool isOpening() const { return state_ == State::Connecting || state_ == State::LoggingIn; }
  bool isLoggedIn() const { return state_ == State::LoggedIn; }
  bool isClosed() const { return state_ == State::Closed; }
  // Logged in, and no reply is owed: a command can be sent.
  bool isQuiet() const { return isLoggedIn() && !pending_; }
  bool isThroughProxy() const { return throughProxy_; }
  bool isPassive() const { return endpoint_.passive || throughProxy_; }
  int descriptor() const { return socket_.descriptor(); }
  // With whom the data connections are encrypted; null when they are not.
  const std::shared_ptr<TLSPeer>& peer() const { return peer_; }
  // Whether this very connection's greeting names a server that leaves data alone until it has read the command.
  bool takesEarlyData() const { return takesEarlyData_; }
  // The time to the server and back, in seconds; what the server takes for its replies is not in it, as far as can be
  // told apart.
  NSTimeInterval roundTrip() const;

  // Sends a command, without its line end; only while the connection is quiet. The first handler gets the final reply,
  // the other one, where it is given, the first preliminary reply. The limit for a reply runs from now, and once more
  // from the first preliminary reply.
  void send(const std::string& line, ReplyHandler finalHandler, ReplyHandler preliminaryHandler = nullptr);
  // From now on the pending command's reply is due within that many seconds, instead of what the limit says.
  void expectReplyWithin(NSTimeInterval seconds) { limit_.start(seconds); }
  // No reply is due for the time being: something else is waited for, under a limit of its own.
  void expectNoReply() { limit_.cancel(); }

  // Looks at the socket, so that what has come in the meantime is noticed: a server's good-bye, or its end.
  void readNow();

  // Says good-bye without waiting for an answer, and closes.
  void quit();
  // Drops the connection at once.
  void close();

 private:
  enum class State { Idle, Connecting, LoggingIn, LoggedIn, Closed };
  struct Command {
    std::string verb;
    ReplyHandler finalHandler;
    ReplyHandler preliminaryHandler;
    bool isUnderWay = false;  // a preliminary reply has come
  };

  void connected(SocketConnector::Result result);
  void awaitGreeting();
  void greeted(const FTPReply& reply);
  void askForEncryption();
  void encrypt(std::function<void()> whenDone);
  void shakeHands();
  void encryptData();
  void sendUser();
  void sendPassword();
  void askForFeatures();
  void announceUTF8();
  void sendType();

  void flush();
  bool hasUnsent() const { return !unsent_.empty() || socket_.holdsBack(); }
  void socketReady();
  void handle(const FTPReply& reply);
  void handlePreliminary(const FTPReply& reply);
  void measure();
  void limitPassed();
  void fail(const Ref<NSError>& error, Loss loss = Loss::Failed);
  void failWithReply(const FTPReply& reply);

  Ref<NSRunLoop> runLoop_;
  FTPEndpoint endpoint_;
  FTPLimits limits_;
  Delegate* delegate_;
  State state_ = State::Idle;
  std::unique_ptr<SocketConnector> connector_;
  std::shared_ptr<TLSPeer> peer_;
  FTPSocket socket_;
  std::optional<foundation::DescriptorSource> source_;
  std::function<void()> whenEncrypted_;  // while the handshake is under way
  bool throughProxy_ = false;
  bool takesEarlyData_ = false;
  bool readsTelnet_ = false;  // a byte 255 begins a command of that protocol

  std::string unsent_;
  FTPReplyParser parser_;
  std::optional<Command> pending_;
  std::chrono::steady_clock::time_point sendTime_;
  // The shortest time that a command and its reply have taken.
  std::chrono::duration<NSTimeInterval> roundTrip_ = std::chrono::duration<NSTimeInterval>::max();
  LimitTimer limit_;  // for the pending command's reply
};

}  // namespace cfnetwork

}  // namespace telvo
