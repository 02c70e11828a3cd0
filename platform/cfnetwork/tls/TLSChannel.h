#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "foundation/runtime/Ref.h"

inline namespace telvo {

class NSError;

namespace cfnetwork {

class TLSPeer;

// The client's end of TLS over a connected, non-blocking socket, which it does not own. One thread at a time.
class TLSChannel {
 public:
  // A control connection's sessions are kept with the peer; a data connection resumes the newest of them.
  enum class Use { Control, Data };
  enum class Progress { Done, WaitsToRead, WaitsToWrite, Failed };

  TLSChannel(std::shared_ptr<TLSPeer> peer, int descriptor, Use use);
  TLSChannel(const TLSChannel&) = delete;
  TLSChannel& operator=(const TLSChannel&) = delete;
  // Says nothing to the server.
  ~TLSChannel();

  // Agrees on keys, and checks who the server is. To be called again when the socket is ready for what it waits for.
  Progress shakeHands();
  bool isEstablished() const;

  // As FTPSocket's functions of the same names; only once it is established.
  std::int64_t read(void* buffer, std::size_t size);
  std::int64_t write(const void* bytes, std::size_t size);
  std::int64_t sendFile(int file, std::size_t size);
  // Sends what is held back, and close_notify. Failed also when the connection is broken.
  Progress end();

  // How many of the bytes taken have not been given to the system yet, because it had no room.
  std::size_t heldBack() const;
  // Whether the server's close_notify has come: nothing that it had to say was cut off.
  bool hasPeerEnded() const;
  // What was wrong when something has failed; else nil.
  const Ref<NSError>& error() const;

 private:
  struct Implementation;
  const std::unique_ptr<Implementation> implementation_;
};

}  // namespace cfnetwork

}  // namespace telvo
