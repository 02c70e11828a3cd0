#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "cfnetwork/FTPSession.h"

inline namespace telvo {

namespace cfnetwork {

// A thread's sessions to one server and login: the one that sends an item, and up to two others that prepare
// themselves meanwhile, so that the next item's can go out at once.
class FTPSessionSet {
 public:
  struct Claim {
    std::shared_ptr<FTPSession> session;
    bool isNew = false;  // made for this claim
  };

  explicit FTPSessionSet(FTPEndpoint endpoint);

  const FTPEndpoint& endpoint() const { return endpoint_; }
  bool isEmpty() const { return sessions_.empty(); }
  // Those that wait for a file with their data connection made.
  std::size_t preparedSessions() const;

  // The session that has got furthest, for the next item; the caller becomes its user. The others go on preparing
  // themselves. The limits are for all of them, from their next step on.
  Claim claim(FTPSession::Need need, FTPSession::User& user, const FTPLimits& limits);
  // The item is over.
  void release(const std::shared_ptr<FTPSession>& session);
  // Ends all sessions that nobody uses.
  void retire(FTPSession::Unused unused);
  // Ends all.
  void quit();

 private:
  void rest();
  void forget(const std::shared_ptr<FTPSession>& session);
  void forgetLostSessions();
  std::shared_ptr<FTPSession> best(FTPSession::Need need) const;
  std::shared_ptr<FTPSession> add(FTPSession::Standing standing);
  void prepareOthers();
  bool wantsAnother() const;

  FTPEndpoint endpoint_;
  FTPLimits limits_;
  std::vector<std::shared_ptr<FTPSession>> sessions_;
  int filesInARow_ = 0;
  bool mayAdd_ = true;  // no session of several has been lost yet
  foundation::TimerSource idle_;
};

// A thread's sessions, by server and login.
class FTPSessionPool {
 public:
  // The calling thread's pool; its sessions end with the thread.
  static FTPSessionPool& ofThread();
  ~FTPSessionPool();

  // The set for the endpoint, made when there is none. Good until another endpoint's is asked for.
  FTPSessionSet& sessionsTo(const FTPEndpoint& endpoint);

  // To all endpoints.
  std::size_t preparedSessions() const;

  // Of the streams on this thread that are not given their own.
  const FTPLimits& limits() const { return limits_; }
  void setLimits(const FTPLimits& limits) { limits_ = limits; }

 private:
  FTPLimits limits_;
  std::vector<std::unique_ptr<FTPSessionSet>> sets_;
};

}  // namespace cfnetwork

}  // namespace telvo
