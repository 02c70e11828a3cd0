#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cfnetwork/FTPReply.h"
#include "cfnetwork/SocketConnector.h"
#include "foundation/events/EventSource.h"
#include "foundation/runtime/NSObject.h"

class NSError;
class NSRunLoop;

// How long the client waits, in seconds. Each limit ends in an error, never in a hang.
struct FTPLimits {
  NSTimeInterval connect = 30;   // for a control or data connection to be made
  NSTimeInterval reply = 60;     // for a reply, the greeting included
  NSTimeInterval progress = 60;  // for the other side to take any byte of data
  NSTimeInterval idle = 10;      // for which a connection that nobody uses is kept
  NSTimeInterval port = 10;      // for which a port that was asked for ahead of time is good: servers close them again
};

// What has been found out about a server: how far a transfer may run ahead of its replies.
struct FTPServerHabits {
  // Whether the server answers a command that came during a transfer only after it. Likely: it did so with a harmless
  // one; Kept: with a request for a port too.
  enum class Order { Unknown, Likely, Kept, Broken };
  // What becomes of data that comes before the command to store it. Taken: all of it was stored.
  enum class EarlyData { Untried, Taken, Lost };
  // Whether the server confirms a file only when our system has acknowledged the end of its data connection, a round
  // trip late (it closes that connection with SO_LINGER set). Suspected, Known: it did so once, or twice in a row.
  // Avoidable: it does not once the connection is reset, and has stored everything all the same. Doubtful: the last
  // such file had to be sent again. Unavoidable: its connections are not reset.
  enum class Lingering { Unknown, Suspected, Known, Avoidable, Doubtful, Unavoidable };

  Order order = Order::Unknown;
  EarlyData earlyData = EarlyData::Untried;
  Lingering lingering = Lingering::Unknown;

  // A file has been confirmed whose data connection was ended in good order.
  void noteOrderlyEnd(bool lingered);
  // A data connection was reset after all data had been sent. Whole: the server has stored it. Confirmed: it says so.
  void noteReset(bool isWhole, bool isConfirmed);

  bool operator==(const FTPServerHabits&) const = default;
};

// A server and the way in. Texts are raw bytes without carriage returns, line feeds and NULs.
struct FTPEndpoint {
  std::string host;
  std::uint16_t port = 21;
  std::string user;
  std::string password;
  cfnetwork::Route route;
  bool passive = true;

  bool operator==(const FTPEndpoint&) const = default;
};

// One control connection (RFC 959): logs in, sends commands and matches the replies to them. A thread's loop drives
// it; every call and callback is on that thread. Held by a shared pointer, since a callback may let go of it.
class FTPConnection : public std::enable_shared_from_this<FTPConnection> {
 public:
  class Delegate {
   public:
    virtual ~Delegate() = default;
    // The login has gone through; from now on commands are answered.
    virtual void connectionDidLogIn() = 0;
    // The connection is of no use any more. Told once; nothing is called after it.
    virtual void connectionDidFail(const Ref<NSError>& error) = 0;
    // The server has given the next port before the transfer's end, and may have broken the transfer off for it: its
    // reply may never come.
    virtual void connectionDidOvertakeTransfer() = 0;
  };
  using ReplyHandler = std::function<void(const FTPReply&)>;
  // A port to connect to; 0 with the reply or failure that there is none.
  using PortHandler = std::function<void(std::uint16_t port, const Ref<NSError>& error)>;

  FTPConnection(Ref<NSRunLoop> runLoop, FTPEndpoint endpoint, const FTPLimits& limits);
  FTPConnection(const FTPConnection&) = delete;
  FTPConnection& operator=(const FTPConnection&) = delete;
  ~FTPConnection();

  const FTPEndpoint& endpoint() const { return endpoint_; }
  const Ref<NSRunLoop>& runLoop() const { return runLoop_; }
  // Whoever uses the connection at the moment; null while nobody does. Replies to commands of a delegate that has let
  // go are read and dropped.
  void setDelegate(Delegate* delegate);
  // From the next command on.
  void setLimits(const FTPLimits& limits) { limits_ = limits; }

  void open();
  // Says good-bye without waiting for an answer, and closes.
  void quit();
  bool isLoggedIn() const { return state_ == State::LoggedIn; }
  // Whether another item can be sent over it: it has not failed and no transfer is under way. Looks at the socket, so
  // that a connection that the server has closed in the meantime is noticed.
  bool isReusable();
  bool isThroughProxy() const { return throughProxy_; }
  // To begin with, nothing; what is known from an earlier connection to the same server may be put there.
  FTPServerHabits& habits() { return habits_; }
  int descriptor() const { return socket_.get(); }

  // Makes a folder; the handler gets the reply. The port for the next transfer is asked for along with it.
  void makeFolder(const std::string& path, ReplyHandler handler);
  // Asks for the port of the next data connection, or gives the one that is in hand, within this call then.
  void requestPassivePort(PortHandler handler);
  // Whether the last port given was asked for ahead of time.
  bool isPortFromAhead() const { return portFromAhead_; }
  // Tells the server where to connect to (EPRT, or PORT for an IPv4 server that does not know it).
  void requestActiveMode(const cfnetwork::SocketAddress& address, ReplyHandler handler);
  // Stores the data connection's bytes under that path. The handler gets the preliminary and the final reply. The port
  // for the next transfer is asked for along with it when the server is known to keep the order, and also when that is
  // only likely, provided that the transfer can be repeated.
  void store(const std::string& path, bool isRepeatable, ReplyHandler handler);
  // Asks how many bytes a file has. During a transfer only for servers that keep the order.
  void requestSize(const std::string& path, ReplyHandler handler);
  // All data has been handed over and the data connection closed on this side.
  void transferSent();
  // The server has acknowledged all of it: its final reply is due.
  void transferDrained();

  // Drops the connection at once.
  void close();

 private:
  using Order = FTPServerHabits::Order;
  enum class State { Idle, Connecting, LoggingIn, LoggedIn, Failed };
  enum class Kind { Plain, Transfer, BehindTransfer };
  struct Command {
    Kind kind = Kind::Plain;
    bool ofDelegate = false;
    ReplyHandler handler;
    bool preliminarySeen = false;
  };

  void connected(cfnetwork::SocketConnector::Result result);
  void greet(const FTPReply& reply);
  void logIn();
  void logInWithPassword();
  void loggedIn(const FTPReply& reply);
  void prepareForTransfers();

  // send() is enqueue() and flush(): what is enqueued before leaves in the same packet.
  void enqueue(const std::string& line, Kind kind, ReplyHandler handler, bool ofDelegate = false);
  void send(const std::string& line, Kind kind, ReplyHandler handler, bool ofDelegate = false);
  void flush();
  void socketReady();
  bool receive();
  void handle(const FTPReply& reply);
  void handleDuringTransfer(const FTPReply& reply);
  bool mayBeOfCommandBehind(const FTPReply& reply) const;
  Command takeCommand(std::size_t index);
  static void finish(const Command& command, const FTPReply& reply);
  void watch();
  void armDeadline();
  void deadlinePassed();
  void fail(const Ref<NSError>& error);
  void failOutOfStep(const FTPReply& reply);
  ReplyHandler checked(ReplyHandler handler, std::vector<int> expected);

  void sendPassiveRequest(Kind kind);
  void passiveReply(const FTPReply& reply, bool extended, bool ahead);
  void givePort(std::uint16_t port, const Ref<NSError>& error);
  bool isPassive() const { return endpoint_.passive || throughProxy_; }
  void sendProbe();
  void orderBroken();

  Ref<NSRunLoop> runLoop_;
  FTPEndpoint endpoint_;
  FTPLimits limits_;
  Delegate* delegate_ = nullptr;
  State state_ = State::Idle;
  std::unique_ptr<cfnetwork::SocketConnector> connector_;
  foundation::FileDescriptor socket_;
  std::optional<foundation::DescriptorSource> source_;
  foundation::TimerSource deadline_;
  foundation::TimerSource idle_;
  bool throughProxy_ = false;
  std::string unsent_;
  FTPReplyParser parser_;

  std::deque<Command> commands_;  // sent, oldest first, not answered in full yet
  std::optional<FTPReply> held_;  // a refusal of which it is not known yet whether it is the transfer's
  bool transferSent_ = false;
  bool transferDrained_ = false;
  bool transferCompletedFirst_ = false;  // before the command behind it
  FTPServerHabits habits_;

  bool extendedPassive_ = true;
  bool extendedActive_ = true;
  bool portRequested_ = false;
  bool portFromAhead_ = false;
  std::uint16_t port_ = 0;  // in hand, asked for ahead of time
  std::chrono::steady_clock::time_point portTime_;
  PortHandler portHandler_;
};
