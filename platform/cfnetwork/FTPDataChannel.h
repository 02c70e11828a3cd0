#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "cfnetwork/FTPConnection.h"
#include "cfnetwork/FTPSocket.h"
#include "cfnetwork/SocketConnector.h"
#include "cfnetwork/tls/TLSPeer.h"
#include "foundation/events/EventSource.h"

inline namespace telvo {

namespace cfnetwork {

// One data connection: made by us (passive) or by the server (active), encrypted as its control connection is, written
// to, ended. On one run loop's thread; the callbacks come from run-loop turns and may destroy it. Who owns it watches
// over the time.
class FTPDataChannel {
 public:
  class Delegate {
   public:
    virtual ~Delegate() = default;
    virtual void dataChannelDidConnect() = 0;
    // There is room again after send() or end() had none, or now that an encrypted connection is ready.
    virtual void dataChannelHasSpace() = 0;
    // It could not be made, or it has been lost. Told once.
    virtual void dataChannelDidBreak(const Ref<NSError>& error) = 0;
  };

  FTPDataChannel(Ref<NSRunLoop> runLoop, Delegate& delegate);
  FTPDataChannel(const FTPDataChannel&) = delete;
  FTPDataChannel& operator=(const FTPDataChannel&) = delete;
  // Breaks the connection off unless it was ended, as the process's end does too: the server must not take what has
  // arrived for the whole file.
  ~FTPDataChannel();

  void setDelegate(Delegate& delegate) { delegate_ = &delegate; }

  // Passive: to the control connection's own peer, whatever address the server names. The limit is in seconds.
  void connect(const FTPConnection& control, std::uint16_t port, NSTimeInterval limit);
  // Active: the address that the server is to connect to, or nothing, with errno set, when no port could be opened.
  // Nobody but the server itself is let in. Waits without a limit.
  std::optional<SocketAddress> listen(const FTPConnection& control);

  bool isListening() const { return static_cast<bool>(listener_); }
  bool isConnected() const { return static_cast<bool>(socket_); }
  // The server has been asked for the data: an encrypted connection now goes on to get ready. Servers that take what
  // comes before the command for something else break the connection; so it waits for this, unless the control
  // connection's greeting says that it need not (FTPConnection::takesEarlyData).
  void getReady();
  // Whether data can be sent: the connection is there, and encrypted if it is to be.
  bool isReady() const { return isConnected() && isReady_; }
  // Whether the connection, of which nothing was used yet, still stands: looks at the socket.
  bool isUntouched();
  bool hasSpace() const { return isReady() && !blocked_ && !ended_; }
  bool isBlocked() const { return blocked_; }
  // The number of bytes taken; 0 when there is no room now (then dataChannelHasSpace() follows); -1 with errno set, and
  // nothing is told any more; errorOf() says more about it.
  std::int64_t send(const std::uint8_t* bytes, std::size_t length);
  // The same for the next bytes of an open file, which the system moves without a copy. -1 also at its end and for
  // files that cannot be moved so; what is wrong then shows in send().
  std::int64_t sendFile(int file, std::size_t length);
  // Has dataChannelHasSpace() called in a coming turn although there is room.
  void askForSpace();

  Ref<NSError> errorOf(int code) const;

  // The end of the data: what was sent still arrives. When there is no room for it now, dataChannelHasSpace() follows,
  // and it is to be asked for again. Nothing happens before the connection is ready.
  void end();
  // Whether it has been given to the system.
  bool isEnded() const { return ended_; }
  // Resets the connection, ended or not: nothing more leaves.
  void breakOff();
  // Whether somebody on the way could cut the data short and acknowledge all of it: of an encrypted connection, as long
  // as the server's own end has not come, which it only sends when it has got ours.
  bool mayBeCutShort();
  // How many bytes of data the server's system has not acknowledged; after a loss, never will. 0 after breakOff().
  std::size_t unacknowledged() const;
  // After a loss: whether all data and the end may have arrived all the same.
  bool mayBeComplete() const { return ended_ && socket_.hasLeft(); }
  // What has broken an ended connection of which nothing is told any more, since both sides have ended it; else nil.
  Ref<NSError> takeError();

 private:
  void belongTo(const FTPConnection& control);
  void connected(SocketConnector::Result result);
  void accept();
  void attach();
  bool shakeHands();
  void handshakeReady();
  bool isEndAnnounced();
  void endConnection();
  void waitForSpace();
  void socketReady();
  void readUnwanted();
  void lose(const Ref<NSError>& error);

  Ref<NSRunLoop> runLoop_;
  Delegate* delegate_;
  std::unique_ptr<SocketConnector> connector_;
  foundation::FileDescriptor listener_;
  SocketAddress server_;  // who may connect to the listener
  std::shared_ptr<TLSPeer> peer_;
  FTPSocket socket_;
  std::optional<foundation::DescriptorSource> source_;
  bool mayGetReady_ = false;
  bool endsAtOnce_ = false;  // an encrypted connection, without waiting for the server's end
  bool isReady_ = false;
  bool blocked_ = false;
  bool ended_ = false;
  bool endAnnounced_ = false;  // by the server, of its own direction
  bool endCameEarly_ = false;  // ... before we have ended ours
  bool isOver_ = false;        // ours was ended as a connection, too
  std::size_t unwanted_ = 0;   // bytes that the server has sent
};

}  // namespace cfnetwork

}  // namespace telvo
