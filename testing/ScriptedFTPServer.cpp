#include "testing/ScriptedFTPServer.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "testing/Sockets.h"

using foundation::FileDescriptor;

namespace {

constexpr std::chrono::seconds longestWait(60);

}  // namespace

ScriptedFTPServer::ScriptedFTPServer(std::string host)
    : host_(std::move(host)), listener_(listeningSocket(host_)), closing_(eventfd(0, EFD_CLOEXEC)) {
  port_ = portOf(listener_);
  thread_ = std::thread([this] { serve(); });
}

ScriptedFTPServer::~ScriptedFTPServer() {
  const std::uint64_t one = 1;
  if (::write(closing_.get(), &one, sizeof one) != sizeof one) std::terminate();
  thread_.join();
  for (std::thread& thread : threads_) thread.join();
}

ScriptedFTPServer& ScriptedFTPServer::on(const std::string& verb, Action action) {
  const std::lock_guard lock(mutex_);
  actions_[verb].push_back(std::move(action));
  return *this;
}

ScriptedFTPServer& ScriptedFTPServer::always(const std::string& verb, Action action) {
  const std::lock_guard lock(mutex_);
  standingActions_[verb] = std::move(action);
  return *this;
}

void ScriptedFTPServer::forgetActions() {
  const std::lock_guard lock(mutex_);
  actions_.clear();
  standingActions_.clear();
}

std::string ScriptedFTPServer::url(const std::string& path) const {
  const std::string host = host_.find(':') == std::string::npos ? host_ : "[" + host_ + "]";
  return "ftp://telvo:secret@" + host + ":" + std::to_string(port_) + path;
}

std::vector<ScriptedFTPServer::Command> ScriptedFTPServer::commands() const {
  const std::lock_guard lock(mutex_);
  return commands_;
}

std::vector<std::string> ScriptedFTPServer::verbs() const {
  std::vector<std::string> verbs;
  for (const Command& command : commands()) verbs.push_back(command.verb);
  return verbs;
}

std::vector<std::string> ScriptedFTPServer::verbs(std::size_t session) const {
  std::vector<std::string> verbs;
  for (const Command& command : commands()) {
    if (command.session == session) verbs.push_back(command.verb);
  }
  return verbs;
}

std::size_t ScriptedFTPServer::count(const std::string& verb) const {
  const std::vector<std::string> all = verbs();
  return static_cast<std::size_t>(std::count(all.begin(), all.end(), verb));
}

std::vector<ScriptedFTPServer::Transfer> ScriptedFTPServer::transfers() const {
  const std::lock_guard lock(mutex_);
  return transfers_;
}

std::optional<std::string> ScriptedFTPServer::file(const std::string& path) const {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(path);
  return found == files_.end() ? std::nullopt : std::optional(found->second);
}

std::set<std::string> ScriptedFTPServer::folders() const {
  const std::lock_guard lock(mutex_);
  return folders_;
}

std::size_t ScriptedFTPServer::sessions() const {
  const std::lock_guard lock(mutex_);
  return sessions_.size();
}

std::size_t ScriptedFTPServer::openSessions() const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(
      std::count_if(sessions_.begin(), sessions_.end(), [](const auto& session) { return session->isOpen(); }));
}

void ScriptedFTPServer::closeSessions() {
  const std::lock_guard lock(mutex_);
  for (const auto& session : sessions_) {
    if (session->isOpen()) ::shutdown(session->control_.get(), SHUT_RDWR);
  }
}

bool ScriptedFTPServer::waitUntil(const std::function<bool()>& condition) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, longestWait, condition);
}

void ScriptedFTPServer::serve() {
  pollfd descriptors[] = {{listener_.get(), POLLIN, 0}, {closing_.get(), POLLIN, 0}};
  while (::poll(descriptors, 2, -1) < 0 || descriptors[1].revents == 0) {
    FileDescriptor client(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!client) continue;
    const int on = 1;
    setsockopt(client.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    note([&] {
      sessions_.push_back(std::make_unique<Session>(*this, sessions_.size(), std::move(client)));
      threads_.emplace_back([session = sessions_.back().get()] { session->run(); });
    });
  }
}

ScriptedFTPServer::Action ScriptedFTPServer::nextAction(const std::string& verb) {
  const std::lock_guard lock(mutex_);
  std::deque<Action>& actions = actions_[verb];
  if (actions.empty()) {
    const auto standing = standingActions_.find(verb);
    return standing == standingActions_.end() ? nullptr : standing->second;
  }
  Action action = std::move(actions.front());
  actions.pop_front();
  return action;
}
