#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cfnetwork/FTPConnection.h"

// A thread's control connections that nobody uses at the moment, kept for the next item to the same server.
class FTPConnectionPool {
 public:
  // The calling thread's pool; its connections are closed when the thread ends.
  static FTPConnectionPool& ofThread();

  // A working connection to the endpoint, no longer in the pool; null when there is none.
  std::shared_ptr<FTPConnection> take(const FTPEndpoint& endpoint);
  // Keeps the connection when it can be used again, else closes it. Its delegate must have let go.
  void give(const std::shared_ptr<FTPConnection>& connection);

  // What is known of the server from the connections to it that were given.
  FTPServerHabits knownHabits(const FTPEndpoint& endpoint) const;

  // Of the streams on this thread that are not given limits of their own.
  const FTPLimits& limits() const { return limits_; }
  void setLimits(const FTPLimits& limits) { limits_ = limits; }

  ~FTPConnectionPool();

 private:
  void rememberHabits(const FTPEndpoint& endpoint, const FTPServerHabits& habits);

  struct Server {
    std::string host;
    std::uint16_t port;
    FTPServerHabits habits;
  };
  FTPLimits limits_;
  std::vector<Server> servers_;
  std::vector<std::shared_ptr<FTPConnection>> connections_;
};
