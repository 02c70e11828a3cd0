#pragma once

#include <memory>
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

  ~FTPConnectionPool();

 private:
  std::vector<std::shared_ptr<FTPConnection>> connections_;
};
