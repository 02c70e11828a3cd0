#include "cfnetwork/FTPConnectionPool.h"

#include <algorithm>

#include "foundation/events/NSRunLoop.h"

FTPConnectionPool& FTPConnectionPool::ofThread() {
  // The run loop is made first, so that it outlives the connections at the thread's end.
  [[maybe_unused]] thread_local const Ref<NSRunLoop> runLoop = NSRunLoop::currentRunLoop();
  thread_local FTPConnectionPool pool;
  return pool;
}

FTPConnectionPool::~FTPConnectionPool() {
  for (const auto& connection : connections_) connection->quit();
}

std::shared_ptr<FTPConnection> FTPConnectionPool::take(const FTPEndpoint& endpoint) {
  std::erase_if(connections_, [this](const auto& connection) {
    if (connection->isReusable()) return false;
    rememberHabits(connection->endpoint(), connection->habits());
    return true;
  });
  const auto found =
      std::ranges::find_if(connections_, [&](const auto& connection) { return connection->endpoint() == endpoint; });
  if (found == connections_.end()) return nullptr;
  auto connection = *found;
  connections_.erase(found);
  return connection;
}

void FTPConnectionPool::give(const std::shared_ptr<FTPConnection>& connection) {
  rememberHabits(connection->endpoint(), connection->habits());
  // A connection lives on its own thread's loop; a stream may be let go of on another one, once that thread is done.
  if (connection->runLoop() == NSRunLoop::currentRunLoop() && connection->isReusable()) {
    connections_.push_back(connection);
  } else {
    connection->close();
  }
}

FTPServerHabits FTPConnectionPool::knownHabits(const FTPEndpoint& endpoint) const {
  const auto found = std::ranges::find_if(
      servers_, [&](const Server& server) { return server.host == endpoint.host && server.port == endpoint.port; });
  return found == servers_.end() ? FTPServerHabits() : found->habits;
}

void FTPConnectionPool::rememberHabits(const FTPEndpoint& endpoint, const FTPServerHabits& habits) {
  if (habits == FTPServerHabits()) return;
  std::erase_if(servers_,
                [&](const Server& server) { return server.host == endpoint.host && server.port == endpoint.port; });
  servers_.push_back({endpoint.host, endpoint.port, habits});
}
