#include "cfnetwork/FTPSessionPool.h"

#include <algorithm>
#include <utility>

#include "foundation/events/NSRunLoop.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

using Need = FTPSession::Need;
using Progress = FTPSession::Progress;
using Standing = FTPSession::Standing;
using Unused = FTPSession::Unused;

// With this file, more seem to be coming.
constexpr int filesThatShowARun = 3;

// How good a session is for an item. For a folder, one that only logged in is as quick as one that has a data
// connection, which is saved for a file.
int rank(const FTPSession& session, Need need) {
  const Progress progress = session.progress();
  // Nothing waits for one that may never get ready, as long as there is another.
  if (session.standing() == Standing::OnProbation) return static_cast<int>(Progress::Over);
  if (need == Need::Command && progress == Progress::LoggedIn) return static_cast<int>(Progress::Ready) + 1;
  return static_cast<int>(progress);
}

}  // namespace

FTPSessionSet::FTPSessionSet(FTPEndpoint endpoint)
    : endpoint_(std::move(endpoint)), idle_(NSRunLoop::currentRunLoop(), [this] { rest(); }) {}

FTPSessionSet::Claim FTPSessionSet::claim(Need need, FTPSession::User& user, const FTPLimits& limits) {
  limits_ = limits;
  for (const auto& session : sessions_) session->setLimits(limits);
  forgetLostSessions();
  if (need == Need::Transfer) ++filesInARow_;
  Claim claim{best(need), false};
  if (!claim.session) claim = {add(Standing::Regular), true};
  claim.session->setUser(&user);
  prepareOthers();
  idle_.fireAfter(limits_.spare);
  return claim;
}

void FTPSessionSet::release(const std::shared_ptr<FTPSession>& session) {
  session->setUser(nullptr);
  if (session->isOver()) forget(session);
  idle_.fireAfter(limits_.idle);
}

std::size_t FTPSessionSet::preparedSessions() const {
  return static_cast<std::size_t>(std::ranges::count_if(
      sessions_, [](const auto& session) { return !session->user() && session->progress() == Progress::Ready; }));
}

void FTPSessionSet::rest() {
  const bool isInUse = std::ranges::any_of(sessions_, [](const auto& session) { return session->user() != nullptr; });
  retire(isInUse ? Unused::Reset : Unused::End);
}

void FTPSessionSet::retire(Unused unused) {
  filesInARow_ = 0;
  std::erase_if(sessions_, [unused](const auto& session) {
    if (session->user()) return false;
    session->quit(unused);
    return true;
  });
}

void FTPSessionSet::quit() {
  for (const auto& session : sessions_) session->quit(Unused::End);
}

// A server that allows one session for each user may refuse a second one, or end the first for it; and one that cannot
// be reached at the ports that it gives to the second is left alone as well. In the one way or the other it has had
// enough.
void FTPSessionSet::forget(const std::shared_ptr<FTPSession>& session) {
  if (session->isLost() && sessions_.size() > 1) mayAdd_ = false;
  std::erase(sessions_, session);
}

void FTPSessionSet::forgetLostSessions() {
  const auto sessions = sessions_;
  for (const auto& session : sessions) {
    if (session->user()) continue;
    session->refresh();
    if (session->isOver()) forget(session);
  }
}

std::shared_ptr<FTPSession> FTPSessionSet::best(Need need) const {
  std::shared_ptr<FTPSession> best;
  for (const auto& session : sessions_) {
    if (session->user()) continue;
    if (!best || rank(*session, need) > rank(*best, need)) best = session;
  }
  return best;
}

std::shared_ptr<FTPSession> FTPSessionSet::add(Standing standing) {
  return sessions_.emplace_back(
      std::make_shared<FTPSession>(NSRunLoop::currentRunLoop(), endpoint_, limits_, standing));
}

void FTPSessionSet::prepareOthers() {
  const auto sessions = sessions_;
  for (const auto& session : sessions) {
    if (!session->user()) session->prepareFor(Need::Transfer);
  }
  if (wantsAnother()) add(Standing::OnProbation)->prepareFor(Need::Transfer);
}

// One after the other, each when the last one has got ready, and only for a run of files over a way that is long
// enough. A server that gives every data connection the same port may have one queue for all of them, where they would
// get mixed up.
bool FTPSessionSet::wantsAnother() const {
  if (!mayAdd_ || filesInARow_ < filesThatShowARun || sessions_.size() >= limits_.connections) return false;
  return std::ranges::all_of(sessions_,
                             [&](const auto& session) {
                               const FTPConnection& connection = session->connection();
                               return session->standing() == Standing::Regular && connection.isLoggedIn() &&
                                      connection.roundTrip() >= limits_.shortRoundTrip;
                             }) &&
         std::ranges::any_of(sessions_, [](const auto& session) { return session->hasVaryingPorts(); });
}

FTPSessionPool& FTPSessionPool::ofThread() {
  // The run loop is made first, so that it outlives the sessions at the thread's end.
  [[maybe_unused]] thread_local const Ref<NSRunLoop> runLoop = NSRunLoop::currentRunLoop();
  thread_local FTPSessionPool pool;
  return pool;
}

FTPSessionPool::~FTPSessionPool() {
  for (const auto& set : sets_) set->quit();
}

FTPSessionSet& FTPSessionPool::sessionsTo(const FTPEndpoint& endpoint) {
  const auto found = std::ranges::find_if(sets_, [&](const auto& set) { return set->endpoint() == endpoint; });
  if (found != sets_.end()) return **found;
  std::erase_if(sets_, [](const auto& set) { return set->isEmpty(); });
  return *sets_.emplace_back(std::make_unique<FTPSessionSet>(endpoint));
}

std::size_t FTPSessionPool::preparedSessions() const {
  std::size_t sum = 0;
  for (const auto& set : sets_) sum += set->preparedSessions();
  return sum;
}

}  // namespace cfnetwork

}  // namespace telvo
