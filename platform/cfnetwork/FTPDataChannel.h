#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "cfnetwork/FTPConnection.h"
#include "cfnetwork/SocketConnector.h"
#include "foundation/events/EventSource.h"

// The data connection of one transfer: made by us (passive) or by the server (active), written to, closed. It watches
// over its own progress. On one run loop's thread; the callbacks come from run-loop turns and may destroy it.
class FTPDataChannel {
 public:
  class Delegate {
   public:
    virtual ~Delegate() = default;
    virtual void dataChannelDidConnect() = 0;
    // There is room again after send() had none.
    virtual void dataChannelHasSpace() = 0;
    // After close(): the server's system has acknowledged everything. Not told when the end comes first.
    virtual void dataChannelDidDrain() = 0;
    // After close(): the server has ended the connection in good order, see ending().
    virtual void dataChannelDidEnd() = 0;
    virtual void dataChannelDidFail(const Ref<NSError>& error) = 0;
  };

  FTPDataChannel(Ref<NSRunLoop> runLoop, const FTPLimits& limits, Delegate& delegate);
  FTPDataChannel(const FTPDataChannel&) = delete;
  FTPDataChannel& operator=(const FTPDataChannel&) = delete;
  // Breaks the connection off unless it was closed, as the process's end does too: the server must not take what has
  // arrived for the whole file.
  ~FTPDataChannel();

  // Passive: to the control connection's own peer, whatever address the server names.
  void connect(const FTPConnection& control, std::uint16_t port);
  // Active: the address that the server is to connect to, or nothing when no port could be opened.
  std::optional<cfnetwork::SocketAddress> listen(const FTPConnection& control);

  bool isConnected() const { return static_cast<bool>(socket_); }
  bool hasSpace() const { return isConnected() && !blocked_ && !closed_; }
  // The number of bytes taken; 0 when there is no room now (then dataChannelHasSpace() follows); -1 with errno set.
  std::int64_t send(const std::uint8_t* bytes, std::size_t length);
  // The same for the next bytes of an open file, which the system moves without a copy (sendfile). -1, without
  // errno, also at its end.
  std::int64_t sendFile(int file, std::size_t length);
  // Has dataChannelHasSpace() called in a coming turn although there is room.
  void askForSpace();
  // The end of the data: what was sent still arrives.
  void close();

  // After close(): resets the connection, provided that everything has left our system; else does nothing and answers
  // false. What of it has not arrived by then is lost. Nothing is told any more.
  bool reset();
  // After reset(), which may have got lost on its way: has the server's system notice that the connection is gone.
  void resetAgain();

  // How the server has ended a connection that was closed here. A server that leaves bytes unread cannot end it in
  // good order: its system breaks the connection off instead.
  enum class Ending { None, Good, Broken };
  Ending ending();
  // Whether the server's system has acknowledged everything, the end included.
  bool isDrained() const { return closed_ && unacknowledged() == 0; }
  // What a packet and its acknowledgement take, in seconds.
  NSTimeInterval roundTrip() const;

 private:
  void connected(cfnetwork::SocketConnector::Result result);
  void accept();
  void attach();
  void waitForSpace();
  void socketReady();
  void startWatch();
  NSTimeInterval watchInterval() const;
  void checkProgress();
  void checkEnding();
  void fail(const Ref<NSError>& error);
  int unacknowledged() const;

  Ref<NSRunLoop> runLoop_;
  FTPLimits limits_;
  Delegate& delegate_;
  std::unique_ptr<cfnetwork::SocketConnector> connector_;
  foundation::FileDescriptor listener_;
  cfnetwork::SocketAddress server_;  // who may connect to the listener
  foundation::FileDescriptor socket_;
  cfnetwork::SocketAddress resetFrom_, resetTo_;  // the ends of the connection that was reset
  std::optional<foundation::DescriptorSource> source_;
  foundation::TimerSource watch_;
  NSTimeInterval withoutProgress_ = 0;
  int lastUnacknowledged_ = 0;
  bool blocked_ = false;
  bool closed_ = false;
  bool peerEnded_ = false;
  std::size_t unwanted_ = 0;  // bytes that the server has sent
  int error_ = 0;             // errno value of a connection that was broken off after close()
};
