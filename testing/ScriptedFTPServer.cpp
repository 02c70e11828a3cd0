#include "testing/ScriptedFTPServer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

using foundation::FileDescriptor;

namespace {

constexpr std::chrono::seconds longestWait(60);

struct Address {
  sockaddr_storage storage{};
  socklen_t size = sizeof(sockaddr_storage);
  sockaddr* pointer() { return reinterpret_cast<sockaddr*>(&storage); }
};

Address addressOf(const std::string& host, std::uint16_t port) {
  Address address;
  if (host.find(':') != std::string::npos) {
    auto* six = reinterpret_cast<sockaddr_in6*>(&address.storage);
    six->sin6_family = AF_INET6;
    six->sin6_port = htons(port);
    inet_pton(AF_INET6, host.c_str(), &six->sin6_addr);
    address.size = sizeof(sockaddr_in6);
  } else {
    auto* four = reinterpret_cast<sockaddr_in*>(&address.storage);
    four->sin_family = AF_INET;
    four->sin_port = htons(port);
    inet_pton(AF_INET, host.c_str(), &four->sin_addr);
    address.size = sizeof(sockaddr_in);
  }
  return address;
}

std::uint16_t portOf(int descriptor) {
  Address address;
  getsockname(descriptor, address.pointer(), &address.size);
  return ntohs(address.storage.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6*>(&address.storage)->sin6_port
                                                     : reinterpret_cast<sockaddr_in*>(&address.storage)->sin_port);
}

FileDescriptor boundSocket(const std::string& host, int receiveBuffer = 0) {
  Address address = addressOf(host, 0);
  FileDescriptor descriptor(::socket(address.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (receiveBuffer > 0) setsockopt(descriptor.get(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
  if (::bind(descriptor.get(), address.pointer(), address.size) != 0) throw std::runtime_error("no port to bind");
  return descriptor;
}

FileDescriptor listeningSocket(const std::string& host, int receiveBuffer = 0) {
  FileDescriptor descriptor = boundSocket(host, receiveBuffer);
  if (::listen(descriptor.get(), 64) != 0) throw std::runtime_error("no port to listen on");
  return descriptor;
}

void abortOnClose(const FileDescriptor& descriptor) {
  const linger now{1, 0};
  setsockopt(descriptor.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

}  // namespace

// The server.

ScriptedFTPServer::ScriptedFTPServer(std::string host)
    : host_(std::move(host)), listener_(listeningSocket(host_)), closing_(eventfd(0, EFD_CLOEXEC)) {
  port_ = portOf(listener_.get());
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

template <class Change>
void ScriptedFTPServer::note(Change change) {
  const std::lock_guard lock(mutex_);
  change();
  changed_.notify_all();
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

// One session.

void ScriptedFTPServer::Session::run() {
  try {
    perform("GREETING", "");
    while (true) serveNext();
  } catch (const Over&) {
  }
  server_.note([this] {
    listener_.close();
    data_.close();
    held_.clear();
    control_.close();
    open_ = false;
  });
}

// False when the test is over.
bool ScriptedFTPServer::Session::wait(const FileDescriptor& descriptor, short events) {
  pollfd descriptors[] = {{descriptor.get(), events, 0}, {server_.closing_.get(), POLLIN, 0}};
  while (::poll(descriptors, 2, -1) < 0) {
  }
  return descriptors[1].revents == 0;
}

std::string ScriptedFTPServer::Session::nextLine() {
  while (true) {
    if (const std::size_t end = unread_.find('\n'); end != std::string::npos) {
      std::string line = unread_.substr(0, end);
      unread_.erase(0, end + 1);
      if (line.ends_with('\r')) line.pop_back();
      return line;
    }
    readMore();
  }
}

void ScriptedFTPServer::Session::readMore() {
  char buffer[4096];
  const ssize_t size = wait(control_, POLLIN) ? ::recv(control_.get(), buffer, sizeof buffer, 0) : 0;
  if (size <= 0) throw Over();
  unread_.append(buffer, static_cast<std::size_t>(size));
}

void ScriptedFTPServer::Session::serveNext() {
  const std::string line = nextLine();
  const std::size_t space = std::min(line.find(' '), line.size());
  perform(line.substr(0, space), line.substr(std::min(space + 1, line.size())));
}

bool ScriptedFTPServer::Session::isReadable(const FileDescriptor& descriptor, double seconds) {
  pollfd polled{descriptor.get(), POLLIN, 0};
  return ::poll(&polled, 1, static_cast<int>(seconds * 1000)) > 0;
}

void ScriptedFTPServer::Session::lookForCommandsAhead() {
  char byte = 0;
  const bool hasMore = isReadable(control_) && ::recv(control_.get(), &byte, 1, MSG_PEEK) > 0;
  if (!unread_.empty() || hasMore) ++server_.timesAhead_;
}

void ScriptedFTPServer::Session::send(std::string_view bytes) {
  lookForCommandsAhead();
  while (!bytes.empty()) {
    const ssize_t sent =
        wait(control_, POLLOUT) ? ::send(control_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) : -1;
    if (sent < 0 && errno == EAGAIN) continue;
    if (sent <= 0) throw Over();
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void ScriptedFTPServer::Session::sendOneByOne(std::string_view bytes) {
  for (const char& byte : bytes) {
    send({&byte, 1});
    std::this_thread::yield();
  }
}

void ScriptedFTPServer::Session::sleep(double seconds) {
  pollfd descriptor{server_.closing_.get(), POLLIN, 0};
  if (::poll(&descriptor, 1, static_cast<int>(seconds * 1000)) > 0) throw Over();
}

void ScriptedFTPServer::Session::waitForTheEnd() {
  pollfd descriptor{server_.closing_.get(), POLLIN, 0};
  while (::poll(&descriptor, 1, -1) < 0) {
  }
  throw Over();
}

void ScriptedFTPServer::Session::drop() {
  ::shutdown(control_.get(), SHUT_WR);
  char rest[4096];
  while (wait(control_, POLLIN) && ::recv(control_.get(), rest, sizeof rest, 0) > 0) {
  }
  throw Over();
}

void ScriptedFTPServer::Session::reset() {
  abortOnClose(control_);
  throw Over();
}

std::uint16_t ScriptedFTPServer::Session::listen() {
  data_.close();
  activePort_ = 0;
  listener_ = listeningSocket(server_.host_, server_.receiveBuffer_);
  return portOf(listener_.get());
}

std::uint16_t ScriptedFTPServer::Session::listenAtFixedPort() {
  const std::lock_guard lock(server_.mutex_);
  if (!server_.sharedListener_) server_.sharedListener_ = listeningSocket(server_.host_);
  data_.close();
  activePort_ = 0;
  listener_ = FileDescriptor(::fcntl(server_.sharedListener_.get(), F_DUPFD_CLOEXEC, 0));
  return portOf(listener_.get());
}

std::uint16_t ScriptedFTPServer::Session::closedPort() {
  listener_.close();
  held_.push_back(boundSocket(server_.host_));
  return portOf(held_.back().get());
}

std::uint16_t ScriptedFTPServer::Session::fullPort() {
  FileDescriptor listener = boundSocket(server_.host_);
  ::listen(listener.get(), 0);
  const std::uint16_t port = portOf(listener.get());
  Address address = addressOf(server_.host_, port);
  for (int i = 0; i < 4; ++i) {
    FileDescriptor filler(::socket(address.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    [[maybe_unused]] const int pending = ::connect(filler.get(), address.pointer(), address.size);
    held_.push_back(std::move(filler));
  }
  held_.push_back(std::move(listener));
  return port;
}

void ScriptedFTPServer::Session::useActive(const std::string& host, std::uint16_t port) {
  activeHost_ = host;
  activePort_ = port;
}

bool ScriptedFTPServer::Session::openData() {
  dataEnd_.reset();
  if (data_) return true;
  if (activePort_ != 0) {
    Address peer = addressOf(activeHost_, activePort_);
    data_ = FileDescriptor(::socket(peer.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::connect(data_.get(), peer.pointer(), peer.size) != 0) data_.close();
  } else {
    if (!listener_) return false;
    pollfd descriptors[] = {
        {listener_.get(), POLLIN, 0}, {control_.get(), POLLRDHUP, 0}, {server_.closing_.get(), POLLIN, 0}};
    while (::poll(descriptors, 3, -1) < 0) {
    }
    if (descriptors[0].revents == 0) throw Over();
    data_ = FileDescriptor(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    listener_.close();
  }
  return static_cast<bool>(data_);
}

bool ScriptedFTPServer::Session::dataComes(double seconds) { return isReadable(data_, seconds); }

// One packet. False at the data's end.
bool ScriptedFTPServer::Session::readData(std::string& content, std::size_t limit) {
  char buffer[65536];
  const ssize_t size = ::recv(data_.get(), buffer, std::min(sizeof buffer, limit - content.size()), 0);
  if (size > 0) {
    content.append(buffer, static_cast<std::size_t>(size));
    return true;
  }
  dataEnd_ = size == 0 ? End::Orderly : End::Reset;
  return false;
}

std::string ScriptedFTPServer::Session::receive(std::size_t limit) {
  std::string content;
  while (content.size() < limit) {
    if (!wait(data_, POLLIN)) throw Over();
    if (!readData(content, limit)) break;
  }
  return content;
}

void ScriptedFTPServer::Session::sendData(std::string_view bytes) {
  while (!bytes.empty() && wait(data_, POLLOUT)) {
    const ssize_t sent = ::send(data_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno != EAGAIN) return;
    if (sent > 0) bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void ScriptedFTPServer::Session::closeData() {
  data_.close();
  if (!dataEnd_) dataEnd_ = End::ByServer;
}

void ScriptedFTPServer::Session::resetData() {
  abortOnClose(data_);
  closeData();
}

void ScriptedFTPServer::Session::note(const std::string& path, const std::string& content, bool isFile) {
  server_.note([&] {
    server_.transfers_.push_back({path, content, dataEnd_.value_or(End::ByServer)});
    if (isFile || dataEnd_ == End::Orderly) server_.files_[path] = content;
  });
}

// The usual behaviour.

namespace {

using Session = ScriptedFTPServer::Session;

void usualPassword(Session& session, const std::string& password) {
  session.loggedIn = session.user == "anonymous" || (session.user == "telvo" && password == "secret");
  session.reply(session.loggedIn ? "230 Logged in." : "530 Not logged in.");
}

void usualActive(Session& session, const std::string& host, std::uint16_t port) {
  session.useActive(host, port);
  session.reply("200 Understood.");
}

void usualExtendedActive(Session& session, const std::string& argument) {
  const std::size_t host = argument.find('|', 1) + 1;
  const std::size_t port = argument.find('|', host) + 1;
  usualActive(session, argument.substr(host, port - 1 - host),
              static_cast<std::uint16_t>(std::stoi(argument.substr(port))));
}

void usualOldActive(Session& session, const std::string& argument) {
  unsigned n[6] = {};
  if (std::sscanf(argument.c_str(), "%u,%u,%u,%u,%u,%u", &n[0], &n[1], &n[2], &n[3], &n[4], &n[5]) != 6) return;
  std::string host = argument;
  for (std::size_t i = 0, commas = 0; i < host.size(); ++i) {
    if (host[i] != ',') continue;
    if (++commas == 4) host.resize(i);
    if (i < host.size()) host[i] = '.';
  }
  usualActive(session, host, static_cast<std::uint16_t>(n[4] * 256 + n[5]));
}

void usualGoodBye(Session& session) {
  session.reply("221 Goodbye.");
  session.drop();
}

}  // namespace

void ScriptedFTPServer::Session::perform(const std::string& verb, const std::string& argument) {
  if (verb != "GREETING") server_.note([&] { server_.commands_.push_back({number_, verb, argument}); });
  const bool isPassiveStore = verb == "STOR" && listener_ && !data_;
  if (isPassiveStore && !isReadable(listener_)) ++server_.storesWithoutData_;
  if (const Action action = server_.nextAction(verb)) return action(*this, argument);
  if (verb == "GREETING") return reply("220 Ready.");
  if (verb == "QUIT") return usualGoodBye(*this);
  if (verb == "NOOP") return reply("200 Still here.");
  if (verb == "USER") {
    user = argument;
    return reply("331 Password, please.");
  }
  if (verb == "PASS") {
    usualPassword(*this, argument);
    if (loggedIn) server_.note([this] { ++server_.logins_; });
    return;
  }
  if (!loggedIn) return reply("530 Log in first.");
  if (verb == "TYPE") return reply("200 Type set.");
  if (verb == "EPSV") return reply(scripted::extendedPassiveReply(listen()));
  if (verb == "PASV") return reply(scripted::passiveReply("127,0,0,1", listen()));
  if (verb == "EPRT") return usualExtendedActive(*this, argument);
  if (verb == "PORT") return usualOldActive(*this, argument);
  if (verb == "STOR") return scripted::storeThen("226 Stored.")(*this, argument);
  if (verb == "MKD") {
    bool made = false;
    server_.note([&] { made = server_.folders_.insert(argument).second; });
    return reply(made ? "257 \"" + argument + "\" made." : "550 File exists.");
  }
  reply("502 Not known here.");
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

// Ready-made actions.

namespace scripted {

Action reply(const std::string& line) {
  return [line](Session& session, const std::string&) { session.reply(line); };
}

Action send(const std::string& bytes) {
  return [bytes](Session& session, const std::string&) { session.send(bytes); };
}

Action sendOneByOne(const std::string& bytes) {
  return [bytes](Session& session, const std::string&) { session.sendOneByOne(bytes); };
}

Action silence() {
  return [](Session&, const std::string&) {};
}

Action stall() {
  return [](Session& session, const std::string&) { session.waitForTheEnd(); };
}

Action dropControl() {
  return [](Session& session, const std::string&) { session.drop(); };
}

Action resetControl() {
  return [](Session& session, const std::string&) { session.reset(); };
}

Action then(Action first, Action second) {
  return [first = std::move(first), second = std::move(second)](Session& session, const std::string& argument) {
    first(session, argument);
    second(session, argument);
  };
}

Action afterSeconds(double seconds, Action action) {
  return [seconds, action = std::move(action)](Session& session, const std::string& argument) {
    session.sleep(seconds);
    action(session, argument);
  };
}

Action flood(const std::string& bytes) {
  return [bytes](Session& session, const std::string&) {
    while (true) session.send(bytes);
  };
}

Action storePart(std::size_t limit, Action action) {
  return [limit, action = std::move(action)](Session& session, const std::string& path) {
    session.reply("150 Send it.");
    if (!session.openData()) return session.reply("425 No data connection.");
    session.note(path, session.receive(limit));
    action(session, path);
  };
}

Action closeData() {
  return [](Session& session, const std::string&) { session.closeData(); };
}

Action resetData() {
  return [](Session& session, const std::string&) { session.resetData(); };
}

Action closedDataPort() {
  return [](Session& session, const std::string&) { session.reply(extendedPassiveReply(session.closedPort())); };
}

Action fullDataPort() {
  return [](Session& session, const std::string&) { session.reply(extendedPassiveReply(session.fullPort())); };
}

Action storeThen(const std::string& line) {
  return [line](Session& session, const std::string& path) {
    session.reply("150 Send it.");
    if (!session.openData()) return session.reply("425 No data connection.");
    const std::string content = session.receive();
    session.closeData();
    session.note(path, content);
    session.reply(session.dataEnd() == ScriptedFTPServer::End::Orderly ? line : "426 The data connection broke.");
  };
}

std::string passiveReply(const std::string& host, std::uint16_t port) {
  return "227 Entering Passive Mode (" + host + "," + std::to_string(port / 256) + "," + std::to_string(port % 256) +
         ").";
}

std::string extendedPassiveReply(std::uint16_t port) {
  return "229 Entering Extended Passive Mode (|||" + std::to_string(port) + "|)";
}

}  // namespace scripted
