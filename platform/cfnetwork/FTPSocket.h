#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "cfnetwork/tls/TLSChannel.h"
#include "foundation/files/FileIO.h"
#include "foundation/runtime/NSObjCRuntime.h"

inline namespace telvo {

namespace cfnetwork {

// A connected, non-blocking socket: the one place where the client's bytes leave and arrive, for control and data
// connections alike, in the clear or encrypted. One thread at a time.
class FTPSocket {
 public:
  using Progress = TLSChannel::Progress;

  FTPSocket() = default;
  explicit FTPSocket(foundation::FileDescriptor descriptor) : descriptor_(std::move(descriptor)) {}

  explicit operator bool() const { return static_cast<bool>(descriptor_); }
  // For waiting, and for the addresses of both ends; nothing is read from or written to it.
  int descriptor() const { return descriptor_.get(); }

  // From here on everything is encrypted, and nothing may be read or written before shakeHands() is done.
  void encrypt(std::shared_ptr<TLSPeer> peer, TLSChannel::Use use);
  // Goes on agreeing with the server, and checks who that is. Done for a socket that is not to be encrypted.
  Progress shakeHands();
  bool isEncrypted() const { return static_cast<bool>(channel_); }

  // The number of bytes read, 0 at the other side's end, -1 with errno set; EAGAIN: nothing is there now.
  std::int64_t read(void* buffer, std::size_t size);
  // Whether nothing has come that was not read, not even the other side's end. Takes nothing away.
  bool isSilent() const;
  // The number of bytes taken, 0 when there is no room now, -1 with errno set.
  std::int64_t write(const void* bytes, std::size_t size);
  // The same for the next bytes of an open file, which the system moves without a copy. -1 also at the file's end and
  // for files that cannot be moved so; errno is not set then.
  std::int64_t sendFile(int file, std::size_t size);

  // The end of what is written: what was taken still arrives. Waits to write as long as there is no room for it.
  Progress endWriting();
  // Behind endWriting() of an encrypted connection: ends the connection itself in our direction, which some wait for.
  void endConnection();
  // Whether bytes that were taken are still here, for want of room; write() puts them first.
  bool holdsBack() const { return channel_ && channel_->heldBack() > 0; }
  // Says to an encrypted connection's other side that nothing more comes, as far as there is room for that.
  void announceEnd();
  // Whether the other side itself has said that it has nothing more to send. In the clear nobody can tell.
  bool isEndAnnounced() const { return channel_ && channel_->hasPeerEnded(); }
  // Resets the connection: what has not left our system by now never does.
  void breakOff();
  // Closes: in good order after endWriting(), otherwise as prepareForData() says.
  void close();

  // How much the other side's system has not acknowledged yet, as it travels; the end counts as one byte. After a
  // reset, how much it never will; 0 without a connection.
  std::size_t unacknowledged() const;
  // After a reset: whether everything had left our system, and less than two segments of data were unacknowledged. A
  // system may hold back the acknowledgement of so much that it has got (RFC 9293, section 3.8.6.3), and the reset that
  // it sends then acknowledges nothing any more.
  bool hasLeft() const;
  // The shortest time, in seconds, that a packet and its acknowledgement have taken, as far as the system knows. What
  // the other side's program takes for its answers is not in it.
  std::optional<NSTimeInterval> shortestRoundTrip() const;
  // The errno value of what has broken the connection; 0 when it stands, or has been asked before.
  int takeError();
  // What was wrong with a call that has failed and left this in errno.
  Ref<NSError> errorOf(int code) const;

 private:
  foundation::FileDescriptor descriptor_;
  std::unique_ptr<TLSChannel> channel_;  // null: in the clear
};

}  // namespace cfnetwork

}  // namespace telvo
