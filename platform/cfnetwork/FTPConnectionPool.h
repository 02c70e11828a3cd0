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
  FTPConnection::Order knownOrder(const FTPEndpoint& endpoint) const;

  ~FTPConnectionPool();

 private:
  void rememberOrder(const FTPEndpoint& endpoint, FTPConnection::Order order);

  struct Server {
    std::string host;
    std::uint16_t port;
    FTPConnection::Order order;
  };
  std::vector<Server> servers_;
  std::vector<std::shared_ptr<FTPConnection>> connections_;
};
